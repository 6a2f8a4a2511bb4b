#pragma once

#include <string>
#include <vector>

#include "tools/compare/tree_comparison.h"

namespace tarvel {

/// The texts around the two trees, unescaped.
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

/// A page in one file: two trees side by side, each entry with its changes, a count and a filter for each kind of
/// change, and a search. Only the search needs scripts, and no script but its own runs.
[[nodiscard]] std::string comparisonAsHtml(const TreeComparison& comparison, const PageTexts& texts);

/// Every such page begins with this, and is recognised by it.
inline constexpr std::string_view kPageBeginning = "<!DOCTYPE html>\n<html lang=\"en\">\n<!-- Made by tarvel -->\n";

}  // namespace tarvel
