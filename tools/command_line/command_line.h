#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/command_line/backup_options.h"
#include "tools/terminal/message.h"

namespace tarvel {

/// Exit statuses besides the engine's codes 0 to 8.
/// preview: a sort would change the file. diff: the files differ. restore: it would change the file, and was not
/// confirmed.
inline constexpr int kExitWouldChange = 10;
/// status: the agent should run and does not, or an error is pending. doctor: there are problems.
inline constexpr int kExitNeedsAttention = 11;
/// Something outside the bookmarks file could not be written, removed, opened or started.
inline constexpr int kExitFailed = 12;
/// As in sysexits.h.
inline constexpr int kExitUsage = 64;
inline constexpr int kExitNoMemory = 70;
/// Everything was done, and the answer could not be written to standard output.
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

enum class BrowserAction { kStatus, kList, kEnable, kDisable };

enum class AgentAction { kStatus, kEnable, kDisable, kStart, kStop, kLog };

enum class DumpFormat { kXml, kBinary, kJson };

/// The file that stands for standard input.
inline constexpr const char* kStandardInput = "-";

/// What the user asked for. Paths are as given; an empty one was not given.
struct CommandLine {
  Command command = Command::kSort;
  /// The words that name the command, such as "backup list".
  std::string name;
  OutputOptions output;
  // The rules that were asked for; where none was, the settings decide.
  std::optional<bool> foldersAtTop;
  std::optional<bool> removeDuplicates;
  std::optional<bool> renameSamenamed;
  std::optional<bool> sortBookmarksBar;
  /// Defaults instead of the settings.
  bool ignoresSettings = false;
  bool backup = true;
  /// Only report what would be done. A dry run of a sort is a preview.
  bool isDryRun = false;
  std::string backupFile;
  /// diff: the earlier one of two.
  std::string file;
  std::string newFile;
  /// preview, diff: not empty for a page. "-" as the parser leaves it; a file is the older spelling of `outputFile`.
  std::string html;
  bool opensPage = false;
  /// Where the page or the dump goes instead of standard output.
  std::string outputFile;
  DumpFormat dumpFormat = DumpFormat::kXml;
  SettingsAction settingsAction = SettingsAction::kList;
  AgentAction agentAction = AgentAction::kStatus;
  /// agent log: how many messages, and whether to wait for more.
  std::size_t logLines = 20;
  bool follows = false;
  std::string key;
  std::string value;
  BackupOptions backups;
  BrowserAction browserAction = BrowserAction::kStatus;
  /// browser: the names given; none for every browser that is found.
  std::vector<std::string> browsers;

  /// preview, diff: whether to answer with a page.
  [[nodiscard]] bool wantsPage() const {
    return command != Command::kDump && (opensPage || !html.empty() || !outputFile.empty());
  }
};

}  // namespace tarvel
