#pragma once

#include <string>

#include "platform/linux/base/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

/// A file as an open folder and a name in it, so that replacing the folder cannot redirect later calls.
struct FilePlace {
  UniqueFd folder;
  std::string name;
};

/// The target of `path` once all symbolic links in its last component are followed; the file need not exist. On failure
/// the folder is empty and errno is set; EACCES also for a link that targetOfTrustedLink() rejects.
[[nodiscard]] FilePlace followLinks(const std::string& path);
/// Without following a link in the last component.
[[nodiscard]] FilePlace placeOf(const std::string& path);

/// The current path of an entry of an open folder; usable after the folder is closed. Follows renames, unlike the path
/// that the folder was opened by.
[[nodiscard]] std::string pathInFolder(int folder, const std::string& name);

}  // namespace tarvel
