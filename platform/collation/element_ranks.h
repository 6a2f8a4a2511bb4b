#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "platform/collation/letter.h"
#include "platform/collation/title_order.h"

namespace tarvel {

/// ICU's weights as bytes that compare as the weights do. Primary ranks begin at 2, so that 1 can end them.
struct ElementRanks {
  static constexpr std::uint8_t kFirstPrimary = 2;
  static constexpr std::uint8_t kFirstSecondary = 1;

  /// By weight. A primary weight that no letter has as its only element is left out.
  std::map<std::uint32_t, std::uint8_t> primary;
  std::map<std::uint32_t, std::uint8_t> secondary;
};

/// The ranks of all weights of `letters`; absent if they are too many for a byte.
[[nodiscard]] std::optional<ElementRanks> rankElements(const TitleOrder& order, const std::vector<Letter>& letters);

}  // namespace tarvel
