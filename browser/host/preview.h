#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "browser/host/order.h"

namespace tarvel {

/// How many entries a plan changes.
struct ChangeCounts {
  std::size_t moved = 0;
  std::size_t removed = 0;
  std::size_t renamed = 0;   ///< Includes entries that had no title.
  std::size_t repaired = 0;  ///< Folders whose positions are corrupt.
};

/// The changes of a target, folder by folder. Texts are shortened.
struct Preview {
  /// JSON arrays of folders, each array no longer than the limit. A folder that continues in the next array is repeated
  /// there with the same number. docs/PROTOCOL.md describes the fields.
  std::vector<std::string> pieces;
  ChangeCounts counts;
};

/// For sorting and cleaning only: an entry that moves to another folder is listed as removed.
[[nodiscard]] Preview previewOf(const BrowserTree& tree, const Target& target, std::size_t most);

}  // namespace tarvel
