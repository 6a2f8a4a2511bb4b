#include "tools/backups/kept_saves.h"

#include "tools/terminal/answer.h"
#include "tools/terminal/text.h"

namespace tarvel {

Message messageOfKeptSave(const std::string& savePath, const std::string& bookmarksPath) {
  return {{"Another program saved the bookmarks in the instant of a sort.",
           "Its save is kept as " + quotedPath(savePath) + "; remove it when you do not need it.",
           "To see how it differs, and to put it back:"},
          "tarvel restore --from " + shellWord(savePath) + " " + shellWord(bookmarksPath)};
}

void sayKeptSaves(Answer& answer, FileManager& files, const std::string& bookmarksPath) {
  Answer::Json saves = Answer::Json::array();
  for (const std::string& save : files.keptSavesAtPath(bookmarksPath)) {
    answer.complain(messageOfKeptSave(save, bookmarksPath));
    saves.push_back(save);
  }
  answer["keptSaves"] = std::move(saves);
}

}  // namespace tarvel
