#pragma once

#include <string>
#include <vector>

#include "tools/compare/tree_comparison.h"

namespace tarvel {

/// What a page says around the two trees. Plain texts: the page escapes them.
struct PageTexts {
  /// The page's name, in the window's title and above everything.
  std::string title;
  /// Sentences below that, a paragraph each.
  std::vector<std::string> notes;
  std::string beforeTitle;
  std::string afterTitle;
  /// The changes that are counted and can be picked, in this order.
  std::vector<EntryChange> kinds;
};

/// One page that needs nothing else: two trees side by side, each entry with what became of it, a count and a filter
/// for each kind of change, a search. Runs without scripts but for the search, and runs no script except its own.
[[nodiscard]] std::string comparisonAsHtml(const TreeComparison& comparison, const PageTexts& texts);

/// The beginning of every such page, by which one is known.
inline constexpr std::string_view kPageBeginning = "<!DOCTYPE html>\n<html lang=\"en\">\n<!-- Made by tarvel -->\n";

}  // namespace tarvel
