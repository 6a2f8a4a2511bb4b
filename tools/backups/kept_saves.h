#pragma once

#include <string>

#include "platform/file_manager.h"

namespace tarvel {

class Answer;

/// A message about another program's save that a sort displaced: what happened, and what to do about it.
struct KeptSaveWords {
  std::string text;
  /// Sentences.
  std::string advice;
  /// Shows how the save differs.
  std::string command;
};
[[nodiscard]] KeptSaveWords wordsForKeptSave(const std::string& savePath, const std::string& bookmarksPath);

/// Names each of them. The field "keptSaves" has their paths.
void sayKeptSaves(Answer& answer, FileManager& files, const std::string& bookmarksPath);

}  // namespace tarvel
