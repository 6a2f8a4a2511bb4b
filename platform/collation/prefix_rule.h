#pragma once

#include <vector>

#include "platform/collation/case_folded_titles.h"
#include "platform/collation/msd_chunk_sort.h"

namespace tarvel {

/// Makes `placed`, all the titles of `folds` in ICU's order, obey the rule that a title comes before every title it
/// begins.
///
/// ICU breaks the rule where the longer title adds only characters it ignores (the two tie), and where a mark turns the
/// last letter into another that comes earlier in the alphabet (Arabic alef and alef with hamza). No comparison of two
/// titles alone can follow both ICU and the rule: in Arabic they make circles. Seen together, the titles can be
/// ordered: each one moves up to the earliest title it begins, and among those in one place the shorter come first. The
/// result is a set of ranks, hence without contradictions, the same for any order of the input, and exactly "prefix
/// first, else ICU" for two titles.
[[nodiscard]] std::vector<Placed> prefixesFirst(std::vector<Placed> placed, const CaseFoldedTitles& folds);

}  // namespace tarvel
