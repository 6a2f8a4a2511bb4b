#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/collation/letter_table.h"
#include "platform/collation/title_order.h"

namespace tarvel {

/// Up to this many titles are compared by ICU directly; more are compared by sort keys, whose making costs as much as
/// several comparisons.
inline constexpr std::size_t kDirectComparisonLimit = 300;

/// The ranks of `titles`, as Collator::rank() answers them.
///
/// Titles with the same fold tie; a title comes before those it is a prefix of; otherwise ICU decides. Titles that
/// `table` covers are ordered by it, the others by ICU, and ICU merges the two. The table agrees with ICU, so all of it
/// is one order. With `table` null ICU orders everything, with the same result.
[[nodiscard]] std::vector<std::uint32_t> rankTitles(TitleOrder& order, LetterTable* table,
                                                    std::span<const std::string_view> titles);

}  // namespace tarvel
