#pragma once

#include <string>

#include "platform/file_manager.h"

// Internal to platform/linux.
namespace tarvel {

/// Creates the folder and its missing parents with mode 0700, regardless of the umask. An existing folder is success
/// and keeps its mode; anything else of that name is EEXIST.
[[nodiscard]] FileStatus makePrivateFolder(const std::string& path);

}  // namespace tarvel
