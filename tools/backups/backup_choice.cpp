#include "tools/backups/backup_choice.h"

#include <vector>

#include "tools/files/paths.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

Message complaintAbout(const BackupStore& store, const BackupListing& listing, const std::string& given,
                       const std::vector<Backup>& meant, const std::string& places) {
  const std::string list = "tarvel backup list" + places;
  if (!listing.status.ok()) return backupsNotListed(store, listing.status);
  if (meant.empty()) {
    return {{"There is no backup " + quotedText(given) + " in " + quotedPath(store.folder()) + ".", kNothingChanged,
             "To see which there are:"},
            list};
  }
  Message message{{quotedText(given) + " is part of several names; give more of one:"}, list};
  for (const Backup& backup : meant) message.sentences.push_back("  " + printable(backup.name));
  message.sentences.insert(message.sentences.end(), {kNothingChanged, "To see what they are:"});
  return message;
}

}  // namespace

Message backupsNotListed(const BackupStore& store, const FileStatus& status) {
  return {{"The backups in " + quotedPath(store.folder()) + " could not be listed.", reasonOf(status), kNothingChanged},
          {}};
}

BackupChoice chooseBackup(const Platform& platform, const BackupStore& store, const std::string& initialBackup,
                          const std::string& given, const std::string& places) {
  FileManager& files = platform.fileManager;
  const std::string path = files.stringByExpandingTildeInPath(absolutePath(given));
  if (given.find('/') != std::string::npos) return {path, TarvelErrorNone, {}};
  BackupListing listing = store.list();
  std::vector<Backup>& all = listing.backups;
  if (files.fileExistsAtPath(initialBackup)) {
    all.push_back({initialBackup.substr(initialBackup.rfind('/') + 1), initialBackup, {}});
  }
  std::vector<Backup> meant;
  for (const Backup& backup : all) {
    if (backup.name == given) return {backup.path, TarvelErrorNone, {}};
    if (backup.name.find(given) != std::string::npos) meant.push_back(backup);
  }
  if (files.fileExistsAtPath(path)) return {path, TarvelErrorNone, {}};
  if (meant.size() == 1 && listing.status.ok()) return {meant.front().path, TarvelErrorNone, {}};
  const TarvelError code = listing.status.ok() ? TarvelErrorBookmarksFileNotFound : TarvelErrorReadFailed;
  return {{}, code, complaintAbout(store, listing, given, meant, places)};
}

}  // namespace tarvel
