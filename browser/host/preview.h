#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "browser/host/order.h"

namespace tarvel {

/// How many entries a plan changes, and how.
struct ChangeCounts {
  std::size_t moved = 0;
  std::size_t removed = 0;
  std::size_t renamed = 0;  ///< Those that had no title included.
};

/// What a target changes, folder by folder, for people. Texts are shortened.
struct Preview {
  /// JSON arrays of folders, each array no longer than the limit. A folder that goes on in the next array is repeated
  /// there with the same number. docs/PROTOCOL.md tells the fields.
  std::vector<std::string> pieces;
  ChangeCounts counts;
};

/// Sorting and cleaning alone: entries that come from another folder are told as removed from that one.
[[nodiscard]] Preview previewOf(const BrowserTree& tree, const Target& target, std::size_t most);

}  // namespace tarvel
