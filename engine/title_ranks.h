#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/collator.h"

namespace tarvel {

/// The collator's ranks of titles from PropertyListValue::uniqueString(). Ranking a long one is slow; equal ones are at
/// one address, and are ranked once.
[[nodiscard]] std::vector<std::uint32_t> ranksOfTitles(std::span<const std::string_view> titles, Collator& collator);

}  // namespace tarvel
