#include "platform/linux/application_locator.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/linux/desktop_entry.h"
#include "platform/linux/linux_bundle.h"
#include "platform/linux/user_folders.h"
#include "platform/text_components.h"

namespace tarvel {

namespace {

std::string executableOfBundle(PropertyListSerialization& propertyLists, const std::string& path) {
  LinuxBundle bundle(propertyLists, path, {});
  const std::string name = bundle.stringForInfoDictionaryKey("CFBundleExecutable").value_or("");
  // A name leads nowhere but into the bundle.
  const bool isName = !name.empty() && name != "." && name != ".." &&
                      name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
  return isName ? path + "/Contents/Linux/" + name : std::string();
}

}  // namespace

bool isExecutableFile(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

std::string startingFolderOf(const ProgramCommand& command) {
  for (const std::string& folder : {command.workingFolder, userHomeFolder()}) {
    struct stat status {};
    const bool isFolder = folder.starts_with('/') && ::stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    if (isFolder && ::access(folder.c_str(), X_OK) == 0) return folder;
  }
  return "/";
}

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
  std::string userFolder = folderFromEnvironment("XDG_DATA_HOME");
  if (userFolder.empty()) userFolder = userHomeFolder() + "/.local/share";
  const char* systemFolders = std::getenv("XDG_DATA_DIRS");
  const bool areSet = systemFolders != nullptr && *systemFolders != '\0';
  std::vector<std::string> folders = componentsSeparatedBy(areSet ? systemFolders : "/usr/local/share:/usr/share", ':');
  folders.insert(folders.begin(), std::move(userFolder));
  std::error_code error;
  for (const std::string& folder : folders) {
    std::string candidate = folder + "/applications/" + std::string(identifier) + ".desktop";
    if (folder.starts_with('/') && std::filesystem::is_regular_file(candidate, error)) return candidate;
  }
  return {};
}

}  // namespace tarvel
