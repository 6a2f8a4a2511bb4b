#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "browser/host/order.h"

namespace tarvel {

enum class OperationKind : std::uint8_t { kMove, kCreate, kRetitle, kRemove };

/// One step for the browser.
struct Operation {
  OperationKind kind = OperationKind::kMove;
  std::uint32_t node = kNoNode;
  std::uint32_t parent = kNoNode;  ///< Of a move or a new folder.
  std::uint32_t index = 0;         ///< The same: the place after the step.
  bool isDown = false;             ///< Of a move: towards the end of its present folder.
  std::string_view title;          ///< Of a new folder or a new title. Belongs to the tree.
};

/// The steps from the tree to its target, to be applied in order: the new folder, moves, titles, then removals of
/// superfluous folders. The number of moves is minimal: in each folder all entries move except a longest increasing
/// subsequence. In a folder with corrupt positions every child moves twice, which repairs them. Takes O(n log n) time.
[[nodiscard]] std::vector<Operation> planFor(const BrowserTree& tree, const Target& target);

/// The steps as the pieces of a JSON array that go into messages: each no longer than `most` bytes, brackets included.
/// One piece, an empty array, for no steps.
[[nodiscard]] std::vector<std::string> operationsAsJson(const BrowserTree& tree, const std::vector<Operation>& plan,
                                                        std::size_t most);

}  // namespace tarvel
