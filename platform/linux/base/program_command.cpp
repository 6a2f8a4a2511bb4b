#include "platform/linux/base/program_command.h"

#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/base/user_folders.h"

namespace tarvel {

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

}  // namespace tarvel
