#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tools/command_line/command_line.h"

namespace tarvel {

// The commands and options, for the parser, the help and the completions.

/// The words that an option takes, with what they mean.
template <typename Value>
using Choices = std::vector<std::pair<std::string, Value>>;

/// The values of an option whose value is called WHEN.
inline const Choices<ColorChoice> kColorChoices = {
    {"auto", ColorChoice::kAuto}, {"always", ColorChoice::kAlways}, {"never", ColorChoice::kNever}};

/// The same for FORMAT.
inline const Choices<DumpFormat> kDumpFormats = {
    {"xml", DumpFormat::kXml}, {"binary", DumpFormat::kBinary}, {"json", DumpFormat::kJson}};

/// The group of options that are accepted and not shown: older spellings.
inline constexpr const char* kHidden = "";

/// Puts every command and option into `app`, which is empty. Parsing fills `line`, which outlives `app`.
void defineCommandLine(CLI::App& app, CommandLine& line);

// Parts of it.

void defineSettingsCommand(CLI::App& app, CommandLine& line);
void defineAgentCommands(CLI::App& app, CommandLine& line);
void defineBrowserCommands(CLI::App& app, CommandLine& line);
void defineBackupCommands(CLI::App& app, CommandLine& line);
/// --from and --yes.
void defineRestoreFrom(CLI::App& restore, CommandLine& line);

/// Adds an option or an argument that takes a path, which may not be empty. Every path comes in this way.
CLI::Option* addPath(CLI::App& command, const std::string& name, std::string& path, const std::string& help);
/// --no-settings.
void addNoSettings(CLI::App& command, CommandLine& line);
/// FILE, the bookmarks file, and --no-settings.
void addBookmarksFile(CLI::App& command, CommandLine& line);
/// --backup-file.
CLI::Option* addBackupFile(CLI::App& command, CommandLine& line);
/// -n, --dry-run.
void addDryRun(CLI::App& command, CommandLine& line);

}  // namespace tarvel
