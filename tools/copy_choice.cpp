#include "tools/copy_choice.h"

#include <vector>

#include "tools/paths.h"
#include "tools/terminal.h"

namespace tarvel {

CopyChoice chooseCopy(const Platform& platform, const DatedCopies& copies, const std::string& firstCopy,
                      const std::string& given) {
  FileManager& files = platform.fileManager;
  const std::string path = files.stringByExpandingTildeInPath(absolutePath(given));
  if (given.find('/') != std::string::npos) return {path, TarvelErrorNone, {}};
  DatedCopyListing listing = copies.list();
  std::vector<DatedCopy>& all = listing.copies;
  if (files.fileExistsAtPath(firstCopy)) all.push_back({firstCopy.substr(firstCopy.rfind('/') + 1), firstCopy, {}});
  std::vector<DatedCopy> meant;
  for (const DatedCopy& copy : all) {
    if (copy.name == given) return {copy.path, TarvelErrorNone, {}};
    if (copy.name.find(given) != std::string::npos) meant.push_back(copy);
  }
  if (files.fileExistsAtPath(path)) return {path, TarvelErrorNone, {}};
  if (meant.size() == 1 && listing.status.ok()) return {meant.front().path, TarvelErrorNone, {}};
  if (!listing.status.ok()) {
    return {{},
            TarvelErrorReadFailed,
            "The copies in “" + printable(copies.folder()) +
                "” could not be looked at: " + printable(listing.status.reason)};
  }
  if (meant.empty()) {
    return {{},
            TarvelErrorBookmarksFileNotFound,
            "There is no copy “" + printable(given) + "” in “" + printable(copies.folder()) +
                "”. To see what there is: tarvel backup list"};
  }
  std::string complaint = "“" + printable(given) + "” is part of several names; give more of one:";
  for (const DatedCopy& copy : meant) complaint += "\n  " + printable(copy.name);
  return {{}, TarvelErrorBookmarksFileNotFound, complaint};
}

}  // namespace tarvel
