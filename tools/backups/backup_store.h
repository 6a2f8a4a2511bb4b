#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace tarvel {

/// A copy of a bookmarks file that says in its name when it was made.
struct Backup {
  std::string name;
  std::string path;
  Date time;
};

struct BackupListing {
  /// The oldest first.
  std::vector<Backup> copies;
  FileStatus status;
};

struct KeptBackup {
  FileStatus status;
  /// The one that was made, or that was there already.
  Backup copy;
  bool isNew = false;
};

/// The dated copies of one bookmarks file, in the folder of the initial backup. Those of other files lie there too,
/// told apart by their names, and are nobody's affair here. Runs on the calling thread; `platform` is borrowed.
class BackupStore {
 public:
  /// `file` is the path of the bookmarks file, `initialBackup` the full path of the initial backup.
  BackupStore(const Platform& platform, const std::string& initialBackup, const std::string& file);

  /// A folder that is not there yet holds none. The initial backup is none of them, whatever its name.
  [[nodiscard]] BackupListing list() const;

  /// Keeps these bytes: in a new file for nobody but the user, whole or not at all, which replaces nothing; unless the
  /// newest copy has them. Not unless an older one has: that may be old enough to be removed tomorrow. The copy is the
  /// newest one then, even if the clock was set back since the last.
  [[nodiscard]] KeptBackup keep(const Data& bytes) const;

  [[nodiscard]] const std::string& folder() const { return folder_; }

 private:
  /// When a copy that is made now says it was made.
  [[nodiscard]] Date timeAfter(const BackupListing& earlier) const;

  const Platform& platform_;
  std::string folder_;
  std::string firstName_;
  std::string fileTag_;
};

/// The bytes as a bookmarks file: how many bookmarks it holds, or none when it is no such file. Logs nothing.
[[nodiscard]] std::optional<std::size_t> bookmarkCount(const Platform& platform, const Data& bytes);

[[nodiscard]] bool haveSameBytes(const Data& first, const Data& second);

}  // namespace tarvel
