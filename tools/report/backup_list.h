#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/backups/backup_store.h"

namespace tarvel {

/// One copy as `tarvel backup list` shows it.
struct ListedBackup {
  std::string name;
  std::string path;
  /// When it was made; of the initial backup: of when its bytes were.
  Date date;
  std::size_t size = 0;
  /// None when it is no bookmarks file, or cannot be read.
  std::optional<std::size_t> bookmarks;
  bool isInitial = false;
  /// Whether the bookmarks file has the same bytes now.
  bool isAsNow = false;
};

struct BackupList {
  std::string file;
  std::string folder;
  /// The newest first, and the initial backup last.
  std::vector<ListedBackup> copies;
  FileStatus status;
};

[[nodiscard]] BackupList backupList(const Platform& platform, const std::string& file, const std::string& initialBackup,
                                    const BackupStore& copies);

/// For people, times being where the user is.
[[nodiscard]] std::string backupListAsText(const BackupList& list);
/// For programs. Field names are part of the interface, see the manual page.
[[nodiscard]] std::string backupListAsJson(const BackupList& list);

}  // namespace tarvel
