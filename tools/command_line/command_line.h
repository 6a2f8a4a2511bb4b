#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/command_line/backup_options.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

/// Exit statuses besides the engine's codes 0 to 8.
/// preview: a sort would change the file. diff: the files differ. restore: it would too; nobody has agreed to it yet.
inline constexpr int kExitWouldChange = 10;
/// status: the agent should run and does not, or an error waits. doctor: something needs attention.
inline constexpr int kExitNeedsAttention = 11;
/// settings, report: what was to be kept could not be written. agent: what was asked
/// for could not be done. preview, diff: neither could the page, or not be opened. backup prune: a copy could not be
/// removed. restore: the initial backup was put back, and could not be removed.
inline constexpr int kExitFailed = 12;
/// As in sysexits.h.
inline constexpr int kExitUsage = 64;
/// Everything was done, and the answer could not be written to standard output. As in sysexits.h: input or output.
inline constexpr int kExitNoAnswer = 74;

enum class Command {
  kSort,
  kPreview,
  kRestore,
  kDump,
  kDiff,
  kSettings,
  kStatus,
  kReport,
  kAgent,
  kDoctor,
  kBackup,
  kBrowser
};

enum class SettingsAction { kList, kGet, kSet, kUnset };

enum class AgentAction { kStatus, kEnable, kDisable, kStart, kStop, kLog };

enum class BrowserAction { kStatus, kList, kEnable, kDisable };

enum class DumpFormat { kXml, kBinary, kJson };

/// What the user asked for. Paths are as given; an empty one was not given.
struct CommandLine {
  Command command = Command::kSort;
  // The rules that were asked for; where none was, the settings decide.
  std::optional<bool> foldersAtTop;
  std::optional<bool> removeDuplicates;
  std::optional<bool> renameSamenamed;
  std::optional<bool> sortBookmarksBar;
  /// Defaults instead of the settings.
  bool ignoresSettings = false;
  bool backup = true;
  bool json = false;
  std::string backupFile;
  /// diff: the earlier one of two.
  std::string file;
  std::string newFile;
  /// Where a page is to go, "-" for standard output; empty for none, or, with opensPage, for the usual place.
  std::string htmlFile;
  bool opensPage = false;
  DumpFormat dumpFormat = DumpFormat::kXml;
  ColorChoice color = ColorChoice::kAuto;
  SettingsAction settingsAction = SettingsAction::kList;
  AgentAction agentAction = AgentAction::kStatus;
  BrowserAction browserAction = BrowserAction::kStatus;
  /// By their names; none for all that are found.
  std::vector<std::string> browsers;
  /// Messages of the agent's to show, and whether to wait for more.
  std::size_t logLines = 20;
  bool follows = false;
  std::string key;
  std::string value;
  BackupOptions copies;
};

}  // namespace tarvel
