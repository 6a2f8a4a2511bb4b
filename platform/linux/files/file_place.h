#pragma once

#include <string>

#include "platform/linux/base/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

/// A file as an open folder and a name in it, so that swapping the folder cannot redirect later calls.
struct FilePlace {
  UniqueFd folder;
  std::string name;
};

/// Where `path` leads once every symbolic link at its end is followed; the file itself need not exist. On failure the
/// folder is empty and errno says why: EACCES also for a link that targetOfTrustedLink() refuses.
[[nodiscard]] FilePlace followLinks(const std::string& path);
/// The same without following a link at the end.
[[nodiscard]] FilePlace placeOf(const std::string& path);

/// The present path of an entry of an open folder, valid after the folder is closed.
[[nodiscard]] std::string pathInFolder(int folder, const std::string& name);

}  // namespace tarvel
