#pragma once

#include <string>

#include "platform/file_manager.h"

namespace tarvel {

// An initial backup has the contents of a bookmarks file before its first sort. Each file has its own. The one of the
// file in the settings has the name that the agent uses, "Bookmarks (Initial Copy).plist"; others have eight
// hexadecimal digits in their names, which stand for the file's path.

/// Which file an initial backup was made of, as far as the backup records it.
enum class BackupOrigin {
  kMissing,      ///< There is no backup.
  kThisFile,     ///< The file in question.
  kUnrecorded,   ///< Not recorded.
  kAnotherFile,  ///< Another file.
};

struct InitialBackup {
  /// Full path, also where the backup is yet to be made.
  std::string path;
  BackupOrigin origin = BackupOrigin::kMissing;
  /// The file it was made of; empty where that is not recorded.
  std::string madeOf;
};

/// The path that the agent uses for any file: in the folder "Tarvel" of $XDG_DATA_HOME, or of ~/.local/share.
[[nodiscard]] std::string agentBackupFile(FileManager& files);

/// The initial backup of the bookmarks file at the full path `file`. `settingsFile` is the file that the agent sorts.
/// Never another file's backup: where there is none, the result is the path where one is to be made.
[[nodiscard]] InitialBackup initialBackupOf(FileManager& files, const std::string& file,
                                            const std::string& settingsFile);

/// The backup at `path`, and whether it was made of `file`.
[[nodiscard]] InitialBackup backupAt(FileManager& files, const std::string& path, const std::string& file);

/// Whether `path` is a backup, by its name, in the usual folder or in that of `backup`.
[[nodiscard]] bool isKeptBackup(FileManager& files, const std::string& path, const std::string& backup);

/// Gives the agent's name to the initial backup of `file`, which the agent is about to sort, so that the agent never
/// mistakes another file's backup for that of `file`. The backup that has the name now gets the name of its own file;
/// one without a record counts as one of `previousFile`. Overwrites nothing. Idempotent.
[[nodiscard]] FileStatus assignAgentBackup(FileManager& files, const std::string& file,
                                           const std::string& previousFile);

}  // namespace tarvel
