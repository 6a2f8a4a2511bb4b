#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/backups/backup_store.h"

namespace tarvel {

class Answer;

/// One backup as `tarvel backup list` shows it.
struct ListedBackup {
  std::string name;
  std::string path;
  /// When it was made; of the initial backup, when its contents were.
  Date date;
  /// None when it cannot be read.
  std::optional<std::size_t> size;
  /// None when it is not a bookmarks file, or cannot be read.
  std::optional<std::size_t> bookmarks;
  bool isInitial = false;
  /// Whether the bookmarks file has the same bytes now.
  bool isCurrent = false;
};

struct BackupList {
  std::string file;
  std::string folder;
  /// The newest first, and the initial backup last.
  std::vector<ListedBackup> backups;
  FileStatus status;
};

[[nodiscard]] BackupList backupList(const Platform& platform, const std::string& file, const std::string& initialBackup,
                                    const BackupStore& store);

/// Answers with the list; times for people are local. `places` is wordsForPlaces().
void answerWith(Answer& answer, const BackupList& list, const std::string& places);

}  // namespace tarvel
