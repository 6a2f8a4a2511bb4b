#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/watch/path_walk.h"

// Internal to platform/linux.
namespace tarvel {

/// The target of a symbolic link, and the path to its folder.
struct LinkedFile {
  PathWalk walk;
  std::string name;
  /// The target's inode; none while the folder or the file is missing.
  std::optional<FileIdentity> identity;

  friend bool operator==(const LinkedFile&, const LinkedFile&) = default;
};

/// The targets of the symbolic links among a folder's entries, each hop of a chain included, sorted by link name;
/// missing targets are listed too. The number of links is bounded: a bookmarks folder has one or two.
[[nodiscard]] std::vector<LinkedFile> linkedFiles(const std::string& folder);

[[nodiscard]] bool isLink(const std::string& folder, const std::string& name);

}  // namespace tarvel
