#pragma once

#include <string>
#include <vector>

#include "tools/command_line/command_settings.h"
#include "tools/compare/changes.h"

namespace tarvel {

class Answer;

/// What one sort or preview that succeeded did, or would do.
struct SortReport {
  /// As it is shown: the path of the file, or "standard input".
  std::string file;
  bool isPreview = false;
  /// Those that decided something.
  std::vector<NamedSetting> settings;
  /// Null where only `changes` is known.
  const TreeComparison* comparison = nullptr;
  Changes changes;

  [[nodiscard]] bool isWritten() const { return changes.isOrderChanged && !isPreview; }
};

/// The result in a sentence or two, the counts among them.
[[nodiscard]] std::vector<std::string> resultOf(const SortReport& report);

/// Answers with the report, apart from its first sentence, as text or as JSON.
void answerWith(Answer& answer, const SortReport& report);

}  // namespace tarvel
