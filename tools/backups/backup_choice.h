#pragma once

#include <string>

#include "engine/tarvel.h"
#include "tools/backups/backup_store.h"
#include "tools/terminal/message.h"

namespace tarvel {

/// The backup that a name or path means, or why that is unknown.
struct BackupChoice {
  std::string path;
  TarvelError code = TarvelErrorNone;
  /// No sentence when there is a path.
  Message complaint;
};

/// Why BackupStore::list() failed.
[[nodiscard]] Message backupsNotListed(const BackupStore& store, const FileStatus& status);

/// `given` is a path, or the name or a part of the name of exactly one backup, the initial backup at the full path
/// `initialBackup` included. A whole name comes before a path, and a path before a part of a name. `places` is
/// wordsForPlaces().
[[nodiscard]] BackupChoice chooseBackup(const Platform& platform, const BackupStore& store,
                                        const std::string& initialBackup, const std::string& given,
                                        const std::string& places);

}  // namespace tarvel
