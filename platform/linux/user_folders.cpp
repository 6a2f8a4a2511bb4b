#include "platform/linux/user_folders.h"

#include <pwd.h>
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

std::string userRuntimeFolder() { return folderFromEnvironment("XDG_RUNTIME_DIR"); }

}  // namespace tarvel
