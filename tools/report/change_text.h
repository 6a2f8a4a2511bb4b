#pragma once

#include <cstddef>
#include <string>

#include "tools/compare/changes.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

/// A sentence with the counts that are not zero: "3 entries moved in 2 folders, 1 removed." Empty for no changes.
[[nodiscard]] std::string summaryOf(const Changes& changes);

/// A sentence about changes that reach the file only together with a new order. Empty for none.
[[nodiscard]] std::string waitingSummaryOf(const Changes& changes);

/// The listed entries that moved, by folder; a blank line before each folder.
[[nodiscard]] std::string movesAsText(const Changes& changes, const Painter& painter);

/// A line for each other listed change: removed, added, renamed, named, with another address. Of a list that was cut
/// short, a line says how many are missing.
[[nodiscard]] std::string otherChangesAsText(const Changes& changes, const Painter& painter);

}  // namespace tarvel
