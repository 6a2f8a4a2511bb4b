#include "platform/linux/base/user_folders.h"

#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace tarvel {

namespace {

std::string userFolder(const char* variable, const char* belowHome) {
  std::string folder = folderFromEnvironment(variable);
  if (!folder.empty()) return folder;
  const std::string home = userHomeFolder();
  return home.empty() ? std::string() : home + belowHome;
}

}  // namespace

std::string folderFromEnvironment(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value == '/' ? value : "";
}

std::string userHomeFolder() {
  std::string home = folderFromEnvironment("HOME");
  return home.empty() ? homeFolderOf("") : home;
}

std::string homeFolderOf(const std::string& user) {
  std::vector<char> buffer(std::size_t{16} * 1024);
  passwd entry{};
  passwd* found = nullptr;
  if (user.empty()) {
    (void)::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
  } else {
    (void)::getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found);
  }
  return found == nullptr ? std::string() : std::string(found->pw_dir);
}

std::string userSettingsFolder() { return userFolder("XDG_CONFIG_HOME", "/.config"); }
std::string userDataFolder() { return userFolder("XDG_DATA_HOME", "/.local/share"); }
std::string userCacheFolder() { return userFolder("XDG_CACHE_HOME", "/.cache"); }

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
  // su and cron do not set XDG_RUNTIME_DIR.
  return runtimeFolderIn("/run/user");
}

}  // namespace tarvel
