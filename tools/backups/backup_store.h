#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace tarvel {

/// A dated backup of a bookmarks file: its name has the instant it was made.
struct Backup {
  std::string name;
  std::string path;
  Date time;
};

struct BackupListing {
  /// The oldest first.
  std::vector<Backup> backups;
  FileStatus status;
};

struct KeptBackup {
  FileStatus status;
  /// The new one, or the newest one where that has the same bytes.
  Backup backup;
  bool isNew = false;
};

/// The dated backups of one bookmarks file, in the folder of the initial backup. Backups of other files are there too;
/// their names tell them apart, and they are ignored here. Runs on the calling thread; `platform` is borrowed.
class BackupStore {
 public:
  /// `file` is the path of the bookmarks file, `initialBackup` the full path of the initial backup.
  BackupStore(const Platform& platform, const std::string& initialBackup, const std::string& file);

  /// Empty where the folder does not exist yet. The initial backup is not listed, even under a dated name.
  [[nodiscard]] BackupListing list() const;

  /// Writes these bytes to a new file, readable by the user alone, whole or not at all, replacing nothing. Writes
  /// nothing when the newest backup has the same bytes; an older one does not count, since it may be pruned soon. The
  /// new backup is the newest by name, even if the clock was set back.
  [[nodiscard]] KeptBackup keep(const Data& bytes) const;

  [[nodiscard]] const std::string& folder() const { return folder_; }

 private:
  /// The instant for the name of a backup that is made now.
  [[nodiscard]] Date timeAfter(const BackupListing& earlier) const;

  const Platform& platform_;
  std::string folder_;
  std::string initialName_;
  std::string fileTag_;
};

/// The number of bookmarks in a bookmarks file with these bytes; none when it is not one. Logs nothing.
[[nodiscard]] std::optional<std::size_t> bookmarkCount(const Platform& platform, const Data& bytes);

[[nodiscard]] bool haveSameBytes(const Data& first, const Data& second);

}  // namespace tarvel
