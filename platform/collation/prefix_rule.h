#pragma once

#include <vector>

#include "platform/collation/case_folded_titles.h"
#include "platform/collation/msd_chunk_sort.h"

namespace tarvel {

/// Applies the rule that a title comes before every title that it is a prefix of to `placed`, all the titles of `folds`
/// in ICU's order.
///
/// ICU breaks the rule where the longer title adds only characters that ICU ignores (the two tie), and where a mark
/// turns the last letter into one that comes earlier in the alphabet (Arabic alef and alef with hamza). No comparison
/// of two titles can follow both ICU and the rule, because in Arabic they form cycles. Ranks of a whole set can: each
/// title moves up to the earliest title that it is a prefix of, and among those in one place the shorter come first.
/// The result does not depend on the order of the input, and for two titles it is exactly "prefix first, else ICU".
[[nodiscard]] std::vector<Placed> prefixesFirst(std::vector<Placed> placed, const CaseFoldedTitles& folds);

}  // namespace tarvel
