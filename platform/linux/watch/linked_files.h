#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/watch/path_walk.h"

// Internal to platform/linux.
namespace tarvel {

/// A file that a symbolic link leads to, and the way to the folder that holds it.
struct LinkedFile {
  PathWalk walk;
  std::string name;
  /// Of whatever has the name; none while the folder or the file is missing.
  std::optional<FileIdentity> identity;

  friend bool operator==(const LinkedFile&, const LinkedFile&) = default;
};

/// Where the symbolic links among a folder's entries lead, hop by hop, in the order of their names; a file that is
/// missing is listed too. Looks at a bounded number of links: a folder of bookmarks has one or two.
[[nodiscard]] std::vector<LinkedFile> linkedFiles(const std::string& folder);

/// Whether the entry is a symbolic link.
[[nodiscard]] bool isLink(const std::string& folder, const std::string& name);

}  // namespace tarvel
