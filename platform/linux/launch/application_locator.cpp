#include "platform/linux/launch/application_locator.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/linux/base/user_folders.h"
#include "platform/linux/launch/desktop_entry.h"
#include "platform/linux/launch/linux_bundle.h"
#include "platform/text_components.h"

namespace tarvel {

namespace {

std::string executableOfBundle(PropertyListSerialization& propertyLists, const std::string& path) {
  LinuxBundle bundle(propertyLists, path, {});
  const std::string name = bundle.stringForInfoDictionaryKey("CFBundleExecutable").value_or("");
  // The name must not lead out of the bundle.
  const bool isName = !name.empty() && name != "." && name != ".." &&
                      name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
  return isName ? path + "/Contents/Linux/" + name : std::string();
}

}  // namespace

std::optional<ProgramCommand> commandForApplication(PropertyListSerialization& propertyLists, const std::string& path) {
  std::error_code error;
  if (path.empty() || path.find('\0') != std::string::npos) return std::nullopt;
  const std::string absolute = std::filesystem::absolute(path, error).string();
  if (error) return std::nullopt;
  if (std::filesystem::is_directory(absolute, error)) {
    const std::string executable = executableOfBundle(propertyLists, absolute);
    if (executable.empty() || !isExecutableFile(executable)) return std::nullopt;
    return ProgramCommand{executable, {executable}, {}};
  }
  if (absolute.ends_with(".desktop")) return commandOfDesktopFile(absolute);
  if (!isExecutableFile(absolute)) return std::nullopt;
  return ProgramCommand{absolute, {absolute}, {}};
}

std::string desktopFileWithIdentifier(std::string_view identifier) {
  if (identifier.empty() || identifier.find('/') != std::string_view::npos) return {};
  const char* systemFolders = std::getenv("XDG_DATA_DIRS");
  const bool areSet = systemFolders != nullptr && *systemFolders != '\0';
  std::vector<std::string> folders = componentsSeparatedBy(areSet ? systemFolders : "/usr/local/share:/usr/share", ':');
  folders.insert(folders.begin(), userDataFolder());
  std::error_code error;
  for (const std::string& folder : folders) {
    std::string candidate = folder + "/applications/" + std::string(identifier) + ".desktop";
    if (folder.starts_with('/') && std::filesystem::is_regular_file(candidate, error)) return candidate;
  }
  return {};
}

}  // namespace tarvel
