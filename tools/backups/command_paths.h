#pragma once

#include <string>

#include "tools/backups/initial_backup.h"
#include "tools/command_line/command_settings.h"

namespace tarvel {

// The files that a command works on: as given, made absolute, or as the settings have them.

/// The bookmarks file: FILE, else the file of the settings, else the default file.
[[nodiscard]] std::string bookmarksFilePath(FileManager& files, const CommandLine& line,
                                            const CommandSettings& settings);

/// The initial backup of that file: the one --backup-file names, else the file's own.
[[nodiscard]] InitialBackup backupOf(FileManager& files, const CommandLine& line, const CommandSettings& settings);

/// Why the paths given do not go together, and what to do; no sentence when they do. A command that would write is
/// refused when the bookmarks file is its own backup, when it is a backup that tarvel keeps, and when the backup was
/// made of another file.
[[nodiscard]] Message refusalOfPaths(FileManager& files, const CommandLine& line, const CommandSettings& settings);

/// The options that name the same file and backup again, each with a space before it, for a command to paste. Empty
/// when the defaults do.
[[nodiscard]] std::string wordsForPlaces(const CommandLine& line);

}  // namespace tarvel
