#include "tools/backups/kept_saves.h"

#include <iostream>

#include "tools/terminal/terminal.h"

namespace tarvel {

KeptSaveWords wordsForKeptSave(const std::string& savePath, const std::string& bookmarksPath) {
  return {"Another program saved the bookmarks in the instant of a sort. Its save is kept as “" + printable(savePath) +
              "”, since a newer one has its place or it could not be put back.",
          "To see how it differs: tarvel diff " + shellWord(bookmarksPath) + " " + shellWord(savePath) +
              ". To use it: tarvel restore --from " + shellWord(savePath) + ". Remove it when you do not need it."};
}

void tellOfKeptSaves(FileManager& files, const std::string& bookmarksPath) {
  for (const std::string& save : files.keptSavesAtPath(bookmarksPath)) {
    const KeptSaveWords words = wordsForKeptSave(save, bookmarksPath);
    std::cerr << "tarvel: " << words.text << "\n" << words.advice << "\n";
  }
}

}  // namespace tarvel
