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

/// An entry that cleaning takes out.
struct TakenOut {
  std::uint32_t node = kNoNode;
  RemovalReason reason = RemovalReason::kEmptyFolder;
  std::uint32_t survivor = kNoNode;  ///< Of a duplicate: the bookmark that stays.
};

/// What a tree is to become.
struct Target {
  /// By the number of a folder: the numbers of its children, in their final order.
  std::vector<std::vector<std::uint32_t>> children;
  std::vector<std::pair<std::uint32_t, std::string_view>> titles;  ///< New ones.
  std::vector<TakenOut> takenOut;
  std::uint32_t created = kNoNode;         ///< A folder to be made first.
  std::vector<std::uint32_t> superfluous;  ///< Folders to be removed in the end, which are empty then.
};

/// The tree with every folder in the engine's order. What keeps its place divides a folder into groups, each in order
/// by itself; folders of removed entries come last, with their contents as they are. `tarvel` has the rules.
[[nodiscard]] Target sortedTarget(const BrowserTree& tree, Tarvel& tarvel);

/// The tree cleaned by the engine's rules, each root by itself. What these remove goes into the folder titled
/// `folderTitle`, which is added to `tree` unless there is one. The engine's nodes in `tree` are used up.
[[nodiscard]] Target cleanedTarget(BrowserTree& tree, Tarvel& tarvel, const std::string& folderTitle);

/// The tree as it was when `before`, the roots of an earlier tree, was recorded. What is gone stays gone; what has come
/// since stays behind the entry that it follows.
[[nodiscard]] Target restoredTarget(const BrowserTree& tree, PropertyListArray before);

}  // namespace tarvel
