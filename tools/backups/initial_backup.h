#pragma once

#include <string>

#include "platform/file_manager.h"

namespace tarvel {

// An initial backup is what a bookmarks file held before its first sort. Each file has one of its own. That of the file
// in the settings has the name that the agent uses, "Bookmarks (Initial Copy).plist"; that of any other file has eight
// hexadecimal digits for the file's path in its name.

/// Which file an initial backup was made of, as far as the backup tells.
enum class BackupOrigin {
  kMissing,      ///< There is no backup.
  kThisFile,     ///< The file in question.
  kUnrecorded,   ///< The backup does not tell.
  kAnotherFile,  ///< Another one.
};

struct InitialBackup {
  /// Full path, also where the backup is yet to be made.
  std::string path;
  BackupOrigin origin = BackupOrigin::kMissing;
  /// The file it was made of; empty where that is not recorded.
  std::string madeOf;
};

/// The path that the agent uses, whatever file it sorts: "Tarvel" in $XDG_DATA_HOME, or in ~/.local/share.
[[nodiscard]] std::string agentBackupFile(FileManager& files);

/// The initial backup of the bookmarks file at the full path `file`. `settingsFile` is the file that the agent sorts.
/// The answer is never another file's: there it is the path where one of this file's own is to be made.
[[nodiscard]] InitialBackup initialBackupOf(FileManager& files, const std::string& file,
                                            const std::string& settingsFile);

/// What is at `path`, seen as a backup of `file`.
[[nodiscard]] InitialBackup backupAt(FileManager& files, const std::string& path, const std::string& file);

/// Whether this is a backup that Tarvel keeps, by its name and folder: the usual one, or that of `backup`.
[[nodiscard]] bool isKeptBackup(FileManager& files, const std::string& path, const std::string& backup);

/// Gives the agent's name to the initial backup of `file`, which the agent is about to sort, so that the agent never
/// takes another file's backup for that of `file`. The backup that has the name now goes to the name of its own file;
/// one that does not tell its file is taken to be of `previousFile`. Nothing is overwritten. Doing it twice changes
/// nothing.
[[nodiscard]] FileStatus assignAgentBackup(FileManager& files, const std::string& file,
                                           const std::string& previousFile);

}  // namespace tarvel
