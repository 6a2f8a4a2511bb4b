#pragma once

#include <string>

#include "tools/command_settings.h"
#include "tools/initial_backup.h"

namespace tarvel {

// The files that a command works on: what the user gave, made absolute, or what the settings say.

/// A path the engine can use: absolute, since it looks beside the file and makes folders above it. Empty stays empty,
/// and a leading tilde is left to the engine.
[[nodiscard]] std::string absolutePath(const std::string& path);

/// The bookmarks file: FILE, else the file of the settings, else the default file.
[[nodiscard]] std::string bookmarksFilePath(FileManager& files, const CommandLine& line,
                                            const CommandSettings& settings);

/// The initial backup of that file: the one --backup-file names, else the file's own.
[[nodiscard]] InitialBackup backupOf(FileManager& files, const CommandLine& line, const CommandSettings& settings);

/// Why the paths given do not go together, and what to do; empty when they do. A command that would write refuses them,
/// and changes nothing: a bookmarks file that is its own backup, or is a kept backup, and a backup that was made of
/// another file.
[[nodiscard]] std::string refusalOfPaths(FileManager& files, const CommandLine& line, const CommandSettings& settings);

/// The options that say again where file and backup are, as a person types them after a command; empty when it is by
/// default.
[[nodiscard]] std::string wordsForPlaces(const CommandLine& line);

}  // namespace tarvel
