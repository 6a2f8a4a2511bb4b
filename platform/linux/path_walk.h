#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// Internal to platform/linux.
namespace tarvel {

/// Which inode a folder is.
struct FolderIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  friend bool operator==(const FolderIdentity&, const FolderIdentity&) = default;
};

/// What a path goes through on its way to a folder, component by component: all that would have to change for it to
/// lead elsewhere. Paths in here have no links, dots or repeated slashes in them.
struct PathWalk {
  /// Every folder on the way, the last one included, the root of the file system left out.
  std::vector<std::string> folders;
  /// Every symbolic link on the way.
  std::vector<std::string> links;
  /// The folder itself, when the path leads to one.
  std::optional<FolderIdentity> identity;
  std::string folder;
  /// Otherwise: where the way ends, and the name that is missing there, or is no folder.
  std::string deepestFolder;
  std::string missingName;
  /// Why the way could not be followed, as an errno value; 0 also when something is missing.
  int code = 0;

  /// Whether two walks went the same way to the same place.
  friend bool operator==(const PathWalk&, const PathWalk&) = default;
};

/// A relative path begins at the working folder.
[[nodiscard]] PathWalk walkToFolder(const std::string& path);

}  // namespace tarvel
