#include "platform/linux/watch/inotify_use.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace tarvel {

namespace {

namespace fs = std::filesystem;

void addProcess(const fs::path& process, InotifyUse& use) {
  std::error_code error;
  for (fs::directory_iterator entry(process / "fd", error), end; !error && entry != end; entry.increment(error)) {
    std::error_code gone;
    if (fs::read_symlink(entry->path(), gone) != "anon_inode:inotify") continue;
    ++use.instances;
    std::ifstream lines(process / "fdinfo" / entry->path().filename());
    for (std::string line; std::getline(lines, line);) use.watches += line.starts_with("inotify ") ? 1U : 0U;
  }
}

}  // namespace

std::optional<InotifyUse> inotifyUse() {
  InotifyUse use;
  std::error_code error;
  for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
    const std::string name = entry->path().filename();
    struct stat status {};
    const bool isProcess = std::ranges::all_of(name, [](char c) { return c >= '0' && c <= '9'; });
    // The limits are per user.
    if (isProcess && ::stat(entry->path().c_str(), &status) == 0 && status.st_uid == ::getuid())
      addProcess(entry->path(), use);
  }
  if (error) return std::nullopt;
  return use;
}

}  // namespace tarvel
