#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/collation/ascii_ranks.h"
#include "platform/collation/title_order.h"

namespace tarvel {

/// Up to this many titles are compared by ICU directly; more are compared by sort keys, whose making costs as much as
/// several comparisons.
inline constexpr std::size_t kDirectComparisonLimit = 300;

/// The ranks of `titles`, as Collator::rank() answers them.
///
/// Titles with the same fold tie; a title comes before those it begins; else ICU decides. Titles that the table covers
/// are ordered by it, the others by ICU, and the two orders are merged by ICU: the table is one way to work out what
/// ICU says, so all of it is one order. With `ascii` null everything goes to ICU, to the same result.
[[nodiscard]] std::vector<std::uint32_t> rankTitles(TitleOrder& order, const AsciiRanks* ascii,
                                                    std::span<const std::string_view> titles);

}  // namespace tarvel
