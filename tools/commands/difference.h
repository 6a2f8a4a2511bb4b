#pragma once

#include <string>

#include "platform/platform.h"
#include "tools/compare/tree_comparison.h"
#include "tools/report/failure_text.h"

namespace tarvel {

/// Two bookmarks files compared, or why not.
struct Difference {
  /// Its code is as a sort of the file in question would give it; 0 when there is a comparison.
  Failure failure;
  TreeComparison comparison;
};

/// Reads two bookmarks files, full paths, and compares them.
[[nodiscard]] Difference differenceOf(const Platform& platform, const std::string& oldFile, const std::string& newFile);

/// The counts of a comparison in a sentence, also when nothing differs.
[[nodiscard]] std::string differenceSummary(const TreeComparison& comparison);

/// A line for each entry that differs, for people. Whole folders where an order changed, if `isVerbose`.
[[nodiscard]] std::string differenceText(const TreeComparison& comparison, const Painter& painter, bool isVerbose);

}  // namespace tarvel
