#pragma once

#include <string>

#include "platform/file_manager.h"

namespace tarvel {

/// What to say about another program's save that lies outside its place: a sentence, and what to do about it.
struct KeptSaveWords {
  std::string text;
  std::string advice;
};
[[nodiscard]] KeptSaveWords wordsForKeptSave(const std::string& savePath, const std::string& bookmarksPath);

/// Names each of them on the error output.
void tellOfKeptSaves(FileManager& files, const std::string& bookmarksPath);

}  // namespace tarvel
