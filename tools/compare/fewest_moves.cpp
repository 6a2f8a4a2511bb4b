#include "tools/compare/fewest_moves.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>

namespace tarvel {

std::vector<bool> movedEntries(std::span<const std::uint32_t> earlierPositions) {
  std::vector<std::size_t> tails;
  std::vector<std::optional<std::size_t>> previous(earlierPositions.size());
  for (std::size_t i = 0; i < earlierPositions.size(); ++i) {
    const auto place = std::ranges::lower_bound(tails, earlierPositions[i], std::less<>(),
                                                [&](std::size_t tail) { return earlierPositions[tail]; });
    if (place != tails.begin()) previous[i] = *(place - 1);
    if (place == tails.end()) {
      tails.push_back(i);
    } else {
      *place = i;
    }
  }
  std::vector<bool> moved(earlierPositions.size(), true);
  if (tails.empty()) return moved;
  for (std::optional<std::size_t> i = tails.back(); i; i = previous[*i]) moved[*i] = false;
  return moved;
}

}  // namespace tarvel
