#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace tarvel {

/// Which entries of a new order have to move: all but a longest run of earlier positions that ascends, which is the
/// fewest that explain the change. `earlierPositions` holds, in the new order, where each entry was; all differ.
[[nodiscard]] std::vector<bool> movedEntries(std::span<const std::uint32_t> earlierPositions);

}  // namespace tarvel
