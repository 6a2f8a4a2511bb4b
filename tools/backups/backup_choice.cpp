#include "tools/backups/backup_choice.h"

#include <vector>

#include "tools/files/paths.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

BackupChoice chooseBackup(const Platform& platform, const BackupStore& copies, const std::string& initialBackup,
                          const std::string& given) {
  FileManager& files = platform.fileManager;
  const std::string path = files.stringByExpandingTildeInPath(absolutePath(given));
  if (given.find('/') != std::string::npos) return {path, TarvelErrorNone, {}};
  BackupListing listing = copies.list();
  std::vector<Backup>& all = listing.copies;
  if (files.fileExistsAtPath(initialBackup))
    all.push_back({initialBackup.substr(initialBackup.rfind('/') + 1), initialBackup, {}});
  std::vector<Backup> meant;
  for (const Backup& copy : all) {
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
  for (const Backup& copy : meant) complaint += "\n  " + printable(copy.name);
  return {{}, TarvelErrorBookmarksFileNotFound, complaint};
}

}  // namespace tarvel
