#pragma once

#include "platform/property_list.h"
#include "tools/compare/tree_comparison.h"

namespace tarvel {

/// Compares two trees that know nothing of each other, such as a bookmarks file and an older copy of it.
///
/// Which entry is which: first by identifier, where that names one entry on each side; then by title and address in the
/// same folder; then by both, or the address alone, anywhere; folders also by what is in them; last by the title alone.
/// Every entry has at most one counterpart. Takes time in proportion to both trees.
[[nodiscard]] TreeComparison comparisonOf(PropertyListDictionary before, PropertyListDictionary after);

}  // namespace tarvel
