#include "tools/copy_choice.h"

#include <vector>

#include "tools/commands.h"
#include "tools/terminal.h"

namespace tarvel {

CopyChoice chooseCopy(const Platform& platform, const DatedCopies& copies, const std::string& firstCopy,
                      const std::string& given) {
  FileManager& files = platform.fileManager;
  const std::string path = files.stringByExpandingTildeInPath(absolutePath(given));
  if (given.find('/') != std::string::npos) return {path, {}};
  std::vector<DatedCopy> all = copies.list().copies;
  if (files.fileExistsAtPath(firstCopy)) all.push_back({firstCopy.substr(firstCopy.rfind('/') + 1), firstCopy, {}});
  std::vector<DatedCopy> meant;
  for (const DatedCopy& copy : all) {
    if (copy.name == given) return {copy.path, {}};
    if (copy.name.find(given) != std::string::npos) meant.push_back(copy);
  }
  if (files.fileExistsAtPath(path)) return {path, {}};
  if (meant.size() == 1) return {meant.front().path, {}};
  if (meant.empty()) {
    return {{},
            "There is no copy “" + printable(given) + "” in “" + printable(copies.folder()) +
                "”. To see what there is: tarvel backup list"};
  }
  std::string complaint = "“" + printable(given) + "” is part of several names; give more of one:";
  for (const DatedCopy& copy : meant) complaint += "\n  " + printable(copy.name);
  return {{}, complaint};
}

}  // namespace tarvel
