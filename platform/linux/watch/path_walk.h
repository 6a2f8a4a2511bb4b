#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// Internal to platform/linux.
namespace tarvel {

/// Which inode something is.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

/// What a path goes through on its way to a folder, component by component: all that would have to change for it to
/// lead elsewhere. Paths in here have no links, dots or repeated slashes in them.
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

  /// Every folder on the way, the last one included, the root of the file system left out.
  std::vector<Folder> folders;
  /// Every symbolic link on the way.
  std::vector<Link> links;
  /// The folder itself, when the path leads to one.
  std::optional<FileIdentity> identity;
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

/// Whether a walk that failed with `code` may succeed later although nothing on this machine reports a change: a server
/// that is away, a stale handle, a failing disk. Not: missing rights, names that are too long, or resources used up.
[[nodiscard]] bool mayHeal(int code);

/// The folder that holds the last component of `path`, which has no links in it.
[[nodiscard]] std::string parentOf(const std::string& path);

}  // namespace tarvel
