#pragma once

#include "platform/property_list.h"
#include "tools/compare/tree_comparison.h"

namespace tarvel {

/// Compares two independent trees, such as a bookmarks file and a backup of it.
///
/// Entries are matched first by identifier, where that is unique on both sides; then by title and address in the
/// same folder; then by both, or the address alone, anywhere; folders also by their contents; last by the title alone.
/// Every entry has at most one counterpart. Takes time in proportion to both trees.
[[nodiscard]] TreeComparison comparisonOf(PropertyListDictionary before, PropertyListDictionary after);

}  // namespace tarvel
