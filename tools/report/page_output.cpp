#include "tools/report/page_output.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <span>
#include <string_view>

#include "platform/linux/base/memory_limit.h"
#include "tools/files/paths.h"
#include "tools/report/report_html.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

constexpr const char* kOpener = "xdg-open";

std::string cachedPage() {
  const char* cache = std::getenv("XDG_CACHE_HOME");
  const bool isUsable = cache != nullptr && *cache == '/';
  return (isUsable ? std::string(cache) : std::string("~/.cache")) + "/Tarvel/preview.html";
}

bool hasOwnFile(const CommandLine& line) { return !line.htmlFile.empty() && line.htmlFile != "-"; }

bool isPageOrEmpty(const Data& data) {
  const std::span<const std::uint8_t> bytes = data.bytes();
  return bytes.empty() || (bytes.size() >= kPageBeginning.size() &&
                           std::equal(kPageBeginning.begin(), kPageBeginning.end(), bytes.begin(),
                                      [](char c, std::uint8_t byte) { return static_cast<std::uint8_t>(c) == byte; }));
}

void complain(const std::string& path, const std::string& reason) {
  std::cerr << "tarvel: “" << printable(path) << "”: " << printable(reason) << "\n";
}

}  // namespace

PageOutput::PageOutput(FileManager& files, const CommandLine& line)
    : files_(files),
      path_(files.stringByExpandingTildeInPath(hasOwnFile(line) ? absolutePath(line.htmlFile) : cachedPage())),
      isStandardOutput_(line.htmlFile == "-" && !line.opensPage),
      isOpened_(line.opensPage) {}

bool PageOutput::isAllowed(const std::vector<std::string>& untouchable) const {
  if (isStandardOutput_) return true;
  const auto isPath = [this](const std::string& path) { return isSameFile(path, path_); };
  if (std::ranges::any_of(untouchable, isPath)) {
    complain(path_, "This file holds bookmarks; name another one for the page.");
    return false;
  }
  const std::string refusal = occupant().refusal;
  if (!refusal.empty()) complain(path_, refusal);
  return refusal.empty();
}

PageOutput::Occupant PageOutput::occupant() const {
  const FileReading old = files_.contentsOfOwnFileAtPath(path_);
  switch (old.status.code) {
    case 0:
      if (isPageOrEmpty(old.data)) return {old.version, {}};
      [[fallthrough]];
    case EISDIR:
    case EINVAL:
      return {std::nullopt, "There is something else already, and only a page made by tarvel is replaced."};
    case ENOENT:
      return {};
    case ELOOP:
      return {std::nullopt, "This is a symbolic link, and a page is never written through one; name the file itself."};
    case EPERM:
      return {std::nullopt, "This file belongs to another user; name one of your own."};
    default:
      return {std::nullopt, old.status.reason};
  }
}

FileStatus PageOutput::write(const std::string& page) const {
  const Occupant old = occupant();
  if (!old.refusal.empty()) return {EEXIST, old.refusal};
  const Data data = Data::copyOf(page);
  if (old.version) return files_.replaceOwnFileAtPath({{data.bytes()}, {}}, path_, *old.version);
  return files_.createFileAtPath({{data.bytes()}, {}}, path_);
}

bool PageOutput::deliver(const std::string& page) const {
  if (isStandardOutput_) {
    std::cout << page;
    return true;
  }
  const std::string folder = std::filesystem::path(path_).parent_path().string();
  FileStatus status = isOpened_ ? files_.createDirectoryAtPath(folder) : FileStatus{};
  if (status.ok()) status = write(page);
  if (!status.ok()) {
    complain(path_, status.reason);
    return false;
  }
  std::cout << "The page was written: “" << printable(path_) << "”.\n";
  if (!isOpened_) return true;
  const int error = openOnDesktop(path_);
  if (error != 0) {
    std::cerr << "tarvel: “" << kOpener << "” could not be started: " << std::strerror(error)
              << "\nOpen the page in a browser yourself, or install what opens it; Debian's package is xdg-utils.\n";
  }
  return error == 0;
}

int openOnDesktop(const std::string& path) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  if (::posix_spawn_file_actions_init(&actions) != 0) return ENOMEM;
  if (::posix_spawnattr_init(&attributes) != 0) {
    (void)::posix_spawn_file_actions_destroy(&actions);
    return ENOMEM;
  }
  // Away from this terminal: what is opened outlives the command, and says what it says elsewhere.
  // With the signal that this command ignores as it was.
  sigset_t ignored;
  (void)::sigemptyset(&ignored);
  (void)::sigaddset(&ignored, SIGXFSZ);
  (void)::posix_spawnattr_setsigdefault(&attributes, &ignored);
  (void)::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF);
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    (void)::posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_RDWR, 0);
  }
  std::string program = kOpener;
  std::string argument = path;
  const std::array<char*, 3> arguments = {program.data(), argument.data(), nullptr};
  pid_t process = 0;
  const LiftedMemoryLimit lifted;
  const int error = ::posix_spawnp(&process, kOpener, &actions, &attributes, arguments.data(), environ);
  (void)::posix_spawnattr_destroy(&attributes);
  (void)::posix_spawn_file_actions_destroy(&actions);
  return error;
}

}  // namespace tarvel
