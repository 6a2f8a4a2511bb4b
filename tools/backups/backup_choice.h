#pragma once

#include <string>

#include "engine/tarvel.h"
#include "tools/backups/backup_store.h"

namespace tarvel {

/// The copy that a user means, or why that cannot be told.
struct BackupChoice {
  std::string path;
  TarvelError code = TarvelErrorNone;
  /// A sentence or more, empty when there is a path.
  std::string complaint;
};

/// `given` is a path, or the name or a part of the name that only one of the copies has, the initial backup at the full
/// path `initialBackup` included. A whole name comes before a path, and a path before a part of a name.
[[nodiscard]] BackupChoice chooseBackup(const Platform& platform, const BackupStore& copies,
                                        const std::string& initialBackup, const std::string& given);

}  // namespace tarvel
