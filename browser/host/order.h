#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "browser/host/browser_tree.h"
#include "engine/sort_observer.h"
#include "engine/tarvel.h"

namespace tarvel {

/// An entry that cleaning removes from its folder.
struct TakenOut {
  std::uint32_t node = kNoNode;
  RemovalReason reason = RemovalReason::kEmptyFolder;
  std::uint32_t survivor = kNoNode;  ///< For a duplicate: the bookmark that stays.
};

/// The wanted state of a tree.
struct Target {
  /// For each folder, the numbers of its children in their final order.
  std::vector<std::vector<std::uint32_t>> children;
  std::vector<std::pair<std::uint32_t, std::string_view>> titles;  ///< New ones.
  std::vector<TakenOut> takenOut;
  std::uint32_t created = kNoNode;         ///< A folder to create first.
  std::vector<std::uint32_t> superfluous;  ///< Folders to remove at the end, when they are empty.
};

/// The tree with every folder in the engine's order. Fixed entries divide a folder into groups, each sorted separately;
/// folders of removed entries come last, their contents unchanged. `tarvel` has the rules.
[[nodiscard]] Target sortedTarget(const BrowserTree& tree, Tarvel& tarvel);

/// The tree cleaned by the engine's rules, each root separately. Removed entries go into the folder titled
/// `folderTitle`, which is added to `tree` if it is missing. Consumes the engine's nodes in `tree`.
[[nodiscard]] Target cleanedTarget(BrowserTree& tree, Tarvel& tarvel, const std::string& folderTitle);

/// What an undo restores.
enum class RestoredScope : std::uint8_t {
  kOrder,       ///< The order within each folder: a sort changes nothing else, so later changes by the user stay.
  kEverything,  ///< Order, folders and titles.
};

/// The tree as it was when `before`, the roots of an earlier tree, was recorded. Deleted entries stay deleted; later
/// ones stay behind the entry that they follow.
[[nodiscard]] Target restoredTarget(const BrowserTree& tree, PropertyListArray before, RestoredScope scope);

}  // namespace tarvel
