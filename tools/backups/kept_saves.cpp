#include "tools/backups/kept_saves.h"

#include "tools/terminal/answer.h"
#include "tools/terminal/text.h"

namespace tarvel {

KeptSaveWords wordsForKeptSave(const std::string& savePath, const std::string& bookmarksPath) {
  return {
      "Another program saved the bookmarks in the instant of a sort; its save is kept as " + quotedPath(savePath) + ".",
      "To use it: tarvel restore --from " + shellWord(savePath) + ". Remove it when you do not need it.",
      "tarvel diff " + shellWord(bookmarksPath) + " " + shellWord(savePath)};
}

void sayKeptSaves(Answer& answer, FileManager& files, const std::string& bookmarksPath) {
  Answer::Json saves = Answer::Json::array();
  for (const std::string& save : files.keptSavesAtPath(bookmarksPath)) {
    const KeptSaveWords words = wordsForKeptSave(save, bookmarksPath);
    answer.complain({{words.text, words.advice, "To see how it differs:"}, words.command});
    saves.push_back(save);
  }
  answer["keptSaves"] = std::move(saves);
}

}  // namespace tarvel
