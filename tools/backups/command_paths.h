#pragma once

#include <string>

#include "tools/backups/initial_backup.h"
#include "tools/command_line/command_settings.h"

namespace tarvel {

// The files that a command works on: what the user gave, made absolute, or what the settings say.

/// The bookmarks file: FILE, else the file of the settings, else the default file.
[[nodiscard]] std::string bookmarksFilePath(FileManager& files, const CommandLine& line,
                                            const CommandSettings& settings);

/// The initial backup of that file: the one --backup-file names, else the file's own.
[[nodiscard]] InitialBackup backupOf(FileManager& files, const CommandLine& line, const CommandSettings& settings);

/// Why the paths given do not go together, and what to do; empty when they do. A command that would write refuses them,
/// and changes nothing: a bookmarks file that is its own backup, or is a kept backup, and a backup that was made of
/// another file.
[[nodiscard]] std::string refusalOfPaths(FileManager& files, const CommandLine& line, const CommandSettings& settings);

/// The options that say again where file and backup are, as a prompt types them after a command; empty when it is by
/// default.
[[nodiscard]] std::string wordsForPlaces(const CommandLine& line);

}  // namespace tarvel
