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
  std::uint32_t index = 0;         ///< The same: where it is once the step is done.
  bool isDown = false;             ///< Of a move: towards the end of the folder it is in already.
  std::string_view title;          ///< Of a new folder or a new title. Belongs to the tree.
};

/// The steps from the tree as it is to its target, to be done one after the other: the new folder, the moves, the
/// titles, then what is superfluous. The moves are the fewest there can be: in each folder one for each entry but the
/// longest run that is in order already. Only a folder whose positions are corrupt has all its children moved, twice,
/// as that repairs it. Takes time in proportion to n log n.
[[nodiscard]] std::vector<Operation> planFor(const BrowserTree& tree, const Target& target);

/// The steps as the pieces of a JSON array that go into messages: each no longer than `most` bytes, brackets included.
/// One piece, an empty array, for no steps.
[[nodiscard]] std::vector<std::string> operationsAsJson(const BrowserTree& tree, const std::vector<Operation>& plan,
                                                        std::size_t most);

}  // namespace tarvel
