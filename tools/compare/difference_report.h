#pragma once

#include <cstdint>
#include <string>

#include "tools/compare/tree_comparison.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

/// What there is to say about two trees, as far as they were read whole.
struct DifferenceReport {
  std::string oldFile;
  std::string newFile;
  TreeComparison comparison;
};

/// Whether every entry is there in both, at the same place and with the same title and address.
[[nodiscard]] bool isSame(const TreeComparison& comparison);

/// One sentence with the counts.
[[nodiscard]] std::string summaryOf(const TreeComparison& comparison);

/// For people: the counts, then a line for each entry that differs, in the order of the trees. Each line has its break.
[[nodiscard]] std::string differenceAsText(const DifferenceReport& report, const Painter& painter);

/// For programs: one JSON object. Field names are part of the interface, see the manual page.
[[nodiscard]] std::string differenceAsJson(const DifferenceReport& report);

/// The same where there is nothing to compare: the two files, and why. `report` has no comparison.
[[nodiscard]] std::string differenceFailureAsJson(const DifferenceReport& report, std::int32_t code,
                                                  const std::string& message);

}  // namespace tarvel
