#include "tools/backups/backup_store.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "engine/tarvel.h"
#include "platform/path_components.h"
#include "tools/backups/backup_name.h"

namespace tarvel {

BackupStore::BackupStore(const Platform& platform, const std::string& initialBackup, const std::string& file)
    : platform_(platform),
      folder_(deletingLastPathComponent(initialBackup)),
      initialName_(initialBackup.substr(initialBackup.rfind('/') + 1)),
      fileTag_(tagOfFile(file)) {}

BackupListing BackupStore::list() const {
  DirectoryListing entries = platform_.fileManager.filesInDirectoryAtPath(folder_);
  if (entries.status.code == ENOENT) return {};
  BackupListing listing{{}, std::move(entries.status)};
  for (const std::string& name : entries.fileNames) {
    if (name == initialName_) continue;
    const std::optional<BackupName> dated = backupNameFrom(name);
    if (dated && dated->fileTag == fileTag_) listing.backups.push_back({name, folder_ + "/" + name, dated->time});
  }
  return listing;
}

Date BackupStore::timeAfter(const BackupListing& earlier) const {
  const Date now = platform_.clock.wallClock();
  if (earlier.backups.empty() || now > earlier.backups.back().time) return now;
  const Date next = nextMillisecond(earlier.backups.back().time);
  // There is no name after that of the last instant.
  return textOf({next, fileTag_}) > earlier.backups.back().name ? next : now;
}

KeptBackup BackupStore::keep(const Data& bytes) const {
  FileStatus made = platform_.fileManager.createDirectoryAtPath(folder_);
  if (!made.ok()) return {std::move(made), {}, false};
  BackupListing listing = list();
  if (!listing.status.ok()) return {std::move(listing.status), {}, false};
  if (!listing.backups.empty()) {
    const FileReading newest = platform_.fileManager.contentsAtPath(listing.backups.back().path);
    if (newest.status.ok() && haveSameBytes(newest.data, bytes)) return {{}, listing.backups.back(), false};
  }
  constexpr int kMostNames = 1000;
  Date now = timeAfter(listing);
  KeptBackup making;
  for (int i = 0; i < kMostNames; ++i, now = nextMillisecond(now)) {
    const std::string name = textOf({now, fileTag_});
    making.backup = {name, folder_ + "/" + name, now};
    making.status = platform_.fileManager.createFileAtPath({{bytes.bytes()}, {}}, making.backup.path);
    making.isNew = making.status.ok();
    // Another process made one in the same instant.
    if (making.status.code != EEXIST) break;
  }
  return making;
}

std::optional<std::size_t> bookmarkCount(const Platform& platform, const Data& bytes) {
  const PropertyListReading reading = platform.propertyLists.propertyListFromData(bytes);
  Tarvel tarvel(platform);
  if (reading.error || !tarvel.verifyThatDictionaryIsBookmarksFileRootNode(reading.list.root)) return std::nullopt;
  return tarvel.numberOfBookmarksInDictionary(reading.list.root.dictionary());
}

bool haveSameBytes(const Data& first, const Data& second) { return std::ranges::equal(first.bytes(), second.bytes()); }

}  // namespace tarvel
