#include "tools/report/page_output.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <span>
#include <string_view>

#include "platform/linux/base/memory_limit.h"
#include "platform/linux/base/user_folders.h"
#include "settings/places.h"
#include "tools/files/paths.h"
#include "tools/report/report_html.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

constexpr const char* kOpener = "xdg-open";

std::string cachedPage() {
  const std::string cache = folderFromEnvironment("XDG_CACHE_HOME");
  return (cache.empty() ? userHomeFolder() + "/.cache" : cache) + "/" + kSupportFolderName + "/preview.html";
}

bool hasOwnFile(const CommandLine& line) { return !line.outputFile.empty() && line.outputFile != "-"; }

bool isPageOrEmpty(const Data& data) {
  const std::span<const std::uint8_t> bytes = data.bytes();
  return bytes.empty() || (bytes.size() >= kPageBeginning.size() &&
                           std::equal(kPageBeginning.begin(), kPageBeginning.end(), bytes.begin(),
                                      [](char c, std::uint8_t byte) { return static_cast<std::uint8_t>(c) == byte; }));
}

}  // namespace

PageOutput::PageOutput(FileManager& files, const CommandLine& line)
    : files_(files),
      path_(hasOwnFile(line) ? files.stringByExpandingTildeInPath(absolutePath(line.outputFile)) : cachedPage()),
      isStandardOutput_(!hasOwnFile(line) && !line.opensPage),
      isOpened_(line.opensPage) {}

Message PageOutput::refusal(const std::vector<std::string>& untouchable) const {
  if (isStandardOutput_) return {};
  const auto isPath = [this](const std::string& path) { return isSameFile(path, path_); };
  const bool holdsBookmarks = std::ranges::any_of(untouchable, isPath);
  const std::string reason = holdsBookmarks ? "It holds bookmarks; name another file." : occupant().refusal;
  if (reason.empty()) return {};
  return {{"The page cannot be written to " + quotedPath(path_) + ".", reason, kNothingChanged}, {}};
}

PageOutput::Occupant PageOutput::occupant() const {
  const FileReading old = files_.contentsOfOwnFileAtPath(path_);
  switch (old.status.code) {
    case 0:
      if (isPageOrEmpty(old.data)) return {old.version, {}};
      [[fallthrough]];
    case EISDIR:
    case EINVAL:
      return {std::nullopt, "Something else is there, and only a page made by tarvel is replaced."};
    case ENOENT:
      return {};
    case ELOOP:
      return {std::nullopt, "It is a symbolic link, and no page is written through one; name the file."};
    case EPERM:
      return {std::nullopt, "It belongs to another user; name a file of your own."};
    default:
      return {std::nullopt, reasonOf(old.status)};
  }
}

FileStatus PageOutput::write(const std::string& page) const {
  const Occupant old = occupant();
  if (!old.refusal.empty()) return {EEXIST, old.refusal};
  const Data data = Data::copyOf(page);
  if (old.version) return files_.replaceOwnFileAtPath({{data.bytes()}, {}}, path_, *old.version);
  return files_.createFileAtPath({{data.bytes()}, {}}, path_);
}

bool PageOutput::deliver(const std::string& page, Answer& answer) const {
  if (isStandardOutput_) {
    answer.print(page);
    return true;
  }
  const std::string folder = std::filesystem::path(path_).parent_path().string();
  FileStatus status = isOpened_ ? files_.createDirectoryAtPath(folder) : FileStatus{};
  if (status.ok()) status = write(page);
  if (!status.ok()) {
    answer.complain({{"The page could not be written to " + quotedPath(path_) + ".", reasonOf(status)}, {}});
    return false;
  }
  answer.say("The page was written to " + quotedPath(path_) + ".");
  if (!isOpened_) return true;
  const int error = openOnDesktop(path_);
  if (error != 0) {
    answer.complain({{quotedText(kOpener) + " could not be started: " + sentenceOf(std::strerror(error)),
                      "Open the page in a browser, or install xdg-utils."},
                     {}});
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
  // The program outlives the command, so it leaves the terminal's session, and gets back the signal ignored here.
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
