#pragma once

#include <string>

#include "platform/file_manager.h"

// Internal to platform/linux.
namespace tarvel {

/// Makes the folder and every missing one above it, each with mode 0700 whatever the umask. A folder that exists is
/// success and keeps its mode; anything else of that name is EEXIST.
[[nodiscard]] FileStatus makePrivateFolder(const std::string& path);

}  // namespace tarvel
