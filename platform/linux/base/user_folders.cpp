#include "platform/linux/base/user_folders.h"

#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace tarvel {

std::string folderFromEnvironment(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value == '/' ? value : "";
}

std::string userHomeFolder() {
  std::string home = folderFromEnvironment("HOME");
  if (!home.empty()) return home;
  std::vector<char> buffer(std::size_t{16} * 1024);
  passwd entry{};
  passwd* found = nullptr;
  (void)::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
  return found == nullptr ? std::string() : std::string(found->pw_dir);
}

std::string userSettingsFolder() {
  std::string folder = folderFromEnvironment("XDG_CONFIG_HOME");
  if (!folder.empty()) return folder;
  const std::string home = userHomeFolder();
  return home.empty() ? std::string() : home + "/.config";
}

std::string privateFolderAt(const std::string& path) {
  constexpr mode_t kRights = 07777;
  struct stat facts {};
  const bool isPrivate = ::lstat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode) && facts.st_uid == ::geteuid() &&
                         (facts.st_mode & kRights) == S_IRWXU;
  return isPrivate ? path : std::string();
}

std::string runtimeFolderIn(const std::string& folders) {
  return privateFolderAt(folders + "/" + std::to_string(::geteuid()));
}

std::string userRuntimeFolder() {
  std::string folder = folderFromEnvironment("XDG_RUNTIME_DIR");
  if (!folder.empty()) return folder;
  // su and cron do not set it.
  return runtimeFolderIn("/run/user");
}

}  // namespace tarvel
