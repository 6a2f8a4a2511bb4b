#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// Internal to platform/linux.
namespace tarvel {

/// Identifies an inode.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

/// The components of a path to a folder: everything whose change could make it lead elsewhere. Paths in here have no
/// links, dots or repeated slashes.
struct PathWalk {
  struct Folder {
    std::string path;
    FileIdentity identity;
    friend bool operator==(const Folder&, const Folder&) = default;
  };
  struct Link {
    std::string path;
    FileIdentity identity;
    std::string target;
    friend bool operator==(const Link&, const Link&) = default;
  };

  /// Every folder on the path, the last one included, the root excluded.
  std::vector<Folder> folders;
  /// Every symbolic link on the path.
  std::vector<Link> links;
  /// The folder itself, if the path leads to one.
  std::optional<FileIdentity> identity;
  std::string folder;
  /// Otherwise: the deepest existing folder, and the name in it that is missing or not a folder.
  std::string deepestFolder;
  std::string missingName;
  /// Why the path could not be followed, as an errno value; 0 if something is missing.
  int code = 0;

  /// Whether two walks took the same way to the same folder.
  friend bool operator==(const PathWalk&, const PathWalk&) = default;
};

/// Relative paths start at the working folder.
[[nodiscard]] PathWalk walkToFolder(const std::string& path);

/// Whether a walk that failed with `code` may succeed later without a reported change: an unreachable server, a stale
/// handle, a failing disk. False for missing permissions, names that are too long, and exhausted resources.
[[nodiscard]] bool mayHeal(int code);

/// The folder of the last component of `path`, which must not contain links.
[[nodiscard]] std::string parentOf(const std::string& path);

}  // namespace tarvel
