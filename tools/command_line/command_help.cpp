#include "tools/command_line/command_help.h"

#include <algorithm>
#include <array>

namespace tarvel {

namespace {

using Examples = std::array<std::string_view, 2>;

constexpr StatusHelp kNoFile = {1, "The bookmarks file was not found."};
constexpr StatusHelp kNoBookmarks = {3, "Not a bookmarks file."};
constexpr StatusHelp kTooNew = {4, "A bookmarks file of a version that is too advanced."};
constexpr StatusHelp kUnreadable = {5, "The file could not be read."};
constexpr StatusHelp kUnwritable = {6, "The file could not be written."};
constexpr StatusHelp kNoBackup = {7, "The backup could not be made. The file is unchanged."};
constexpr StatusHelp kInUse = {8, "The browser is using the file, or something kept changing it."};

constexpr StatusHelp kProgramStatuses[] = {{0, "Done, or nothing to do. Each command's help lists its own."}};
constexpr StatusHelp kPreviewStatuses[] = {{0, "Everything is in order."},
                                           kNoFile,
                                           kNoBookmarks,
                                           kTooNew,
                                           kUnreadable,
                                           {10, "A sort would change the file."},
                                           {12, "The page could not be written or opened."}};
constexpr StatusHelp kSortStatuses[] = {{0, "Done, or everything was in order."},
                                        kNoFile,
                                        kNoBookmarks,
                                        kTooNew,
                                        kUnreadable,
                                        kUnwritable,
                                        kNoBackup,
                                        kInUse,
                                        {10, "With --dry-run: a sort would change the file."}};
constexpr StatusHelp kDiffStatuses[] = {{0, "Nothing differs."},
                                        kNoFile,
                                        kNoBookmarks,
                                        kTooNew,
                                        kUnreadable,
                                        {10, "The files differ."},
                                        {12, "The page could not be written or opened."}};
constexpr StatusHelp kRestoreStatuses[] = {{0, "Done, or the file is the same as the backup already."},
                                           {1, "The backup was not found."},
                                           {2, "There is no bookmarks file to put the initial backup in place of."},
                                           {3, "The backup is not a bookmarks file."},
                                           {5, "The file or the backup could not be read."},
                                           kUnwritable,
                                           {7, "The previous contents could not be saved. The file is unchanged."},
                                           kInUse,
                                           {10, "It would change the file, and was not confirmed."},
                                           {12, "The initial backup was put back, and could not be removed."}};
constexpr StatusHelp kCreateStatuses[] = {
    {0, "Done, or the newest backup is the same."}, kNoFile, kNoBookmarks, kUnreadable, kNoBackup, kInUse};
constexpr StatusHelp kListStatuses[] = {{0, "Done."}, {5, "The folder of the backups could not be read."}};
constexpr StatusHelp kPruneStatuses[] = {
    {0, "Done."}, {5, "The folder of the backups could not be read."}, {12, "A backup could not be removed."}};
constexpr StatusHelp kDumpStatuses[] = {{0, "Done."},
                                        {1, "The file was not found."},
                                        {5, "The file could not be read, or is not a property list."},
                                        {6, "The list cannot be written in that form, or not to that file."}};
constexpr StatusHelp kSettingsStatuses[] = {{0, "Done."}, {12, "The settings could not be written."}};
constexpr StatusHelp kReadStatuses[] = {{0, "Done."}};
constexpr StatusHelp kAgentStatuses[] = {{0, "Done."}, {12, "It could not be done."}};
constexpr StatusHelp kAgentStatusStatuses[] = {{0, "All is well."}, {11, "The agent should run and does not."}};
constexpr StatusHelp kBrowserStatuses[] = {{0, "Done."}, {12, "A browser could not be set up."}};
constexpr StatusHelp kLogStatuses[] = {{0, "Done."}, {12, "The journal cannot be read."}};
constexpr StatusHelp kStatusStatuses[] = {{0, "All is well."},
                                          {11, "The agent should run and does not, or an error is pending."}};
constexpr StatusHelp kDoctorStatuses[] = {{0, "No problems found."}, {11, "There are problems."}};
constexpr StatusHelp kReportStatuses[] = {{0, "Done, or no error is pending."},
                                          {12, "The error could not be cleared."}};

constexpr Examples kProgramExamples = {"tarvel preview", "tarvel agent enable"};
constexpr Examples kPreviewExamples = {"tarvel preview --sort-bookmarks-bar", "tarvel preview --open"};
constexpr Examples kSortExamples = {"tarvel sort", "tarvel sort --dry-run --no-folders-at-top Bookmarks.plist"};
constexpr Examples kDiffExamples = {"tarvel diff old.plist new.plist",
                                    "tarvel diff --html -o page.html old.plist new.plist"};
constexpr Examples kRestoreExamples = {"tarvel restore --dry-run", "tarvel restore --from 2026-11-21"};
constexpr Examples kBackupExamples = {"tarvel backup", "tarvel backup list"};
constexpr Examples kCreateExamples = {"tarvel backup create", "tarvel backup create Bookmarks.plist"};
constexpr Examples kListExamples = {"tarvel backup list", "tarvel backup list --json"};
constexpr Examples kPruneExamples = {"tarvel backup prune --keep 10 --dry-run",
                                     "tarvel backup prune --keep 10 --older-than 90d"};
constexpr Examples kDumpExamples = {"tarvel dump Bookmarks.plist", "tarvel dump -f json - < Bookmarks.plist"};
constexpr Examples kSettingsExamples = {"tarvel settings", "tarvel settings set sort-bookmarks-bar yes"};
constexpr Examples kSettingsListExamples = {"tarvel settings list", "tarvel settings list --json"};
constexpr Examples kGetExamples = {"tarvel settings get folders-at-top", "tarvel settings get --json auto-sort-mode"};
constexpr Examples kSetExamples = {"tarvel settings set sort-bookmarks-bar yes",
                                   "tarvel settings set bookmarks-update-latency 60"};
constexpr Examples kUnsetExamples = {"tarvel settings unset sort-bookmarks-bar",
                                     "tarvel settings unset bookmarks-filename"};
constexpr Examples kAgentExamples = {"tarvel agent enable", "tarvel agent log --follow"};
constexpr Examples kEnableExamples = {"tarvel agent enable", "tarvel agent enable --quiet"};
constexpr Examples kDisableExamples = {"tarvel agent disable", "tarvel agent disable --quiet"};
constexpr Examples kStartExamples = {"tarvel agent start", "tarvel agent start --quiet"};
constexpr Examples kStopExamples = {"tarvel agent stop", "tarvel agent stop && tarvel agent start"};
constexpr Examples kAgentStatusExamples = {"tarvel agent status", "tarvel agent status --json"};
constexpr Examples kLogExamples = {"tarvel agent log --lines 100", "tarvel agent log --follow"};
constexpr Examples kBrowserExamples = {"tarvel browser enable", "tarvel browser status"};
constexpr Examples kBrowserListExamples = {"tarvel browser list", "tarvel browser list --json"};
constexpr Examples kBrowserEnableExamples = {"tarvel browser enable", "tarvel browser enable firefox"};
constexpr Examples kBrowserDisableExamples = {"tarvel browser disable", "tarvel browser disable chromium"};
constexpr Examples kBrowserStatusExamples = {"tarvel browser status", "tarvel browser status --json"};
constexpr Examples kStatusExamples = {"tarvel status", "tarvel status --json"};
constexpr Examples kDoctorExamples = {"tarvel doctor", "tarvel doctor --json"};
constexpr Examples kReportExamples = {"tarvel report", "tarvel report --json"};

constexpr CommandHelp kCommands[] = {
    {"", "[OPTIONS] COMMAND", kProgramExamples, kProgramStatuses},
    {"preview", "[OPTIONS] [FILE]", kPreviewExamples, kPreviewStatuses},
    {"sort", "[OPTIONS] [FILE]", kSortExamples, kSortStatuses},
    {"diff", "[OPTIONS] OLD NEW", kDiffExamples, kDiffStatuses},
    {"restore", "[OPTIONS] [FILE]", kRestoreExamples, kRestoreStatuses},
    {"backup", "[create | list | prune] [OPTIONS] [FILE]", kBackupExamples, kCreateStatuses},
    {"backup create", "[OPTIONS] [FILE]", kCreateExamples, kCreateStatuses},
    {"backup list", "[OPTIONS] [FILE]", kListExamples, kListStatuses},
    {"backup prune", "[OPTIONS] [FILE]", kPruneExamples, kPruneStatuses},
    {"dump", "[OPTIONS] [FILE]", kDumpExamples, kDumpStatuses},
    {"settings", "[list | get | set | unset]", kSettingsExamples, kSettingsStatuses},
    {"settings list", "[OPTIONS]", kSettingsListExamples, kReadStatuses},
    {"settings get", "[OPTIONS] KEY", kGetExamples, kReadStatuses},
    {"settings set", "[OPTIONS] KEY VALUE", kSetExamples, kSettingsStatuses},
    {"settings unset", "[OPTIONS] KEY", kUnsetExamples, kSettingsStatuses},
    {"agent", "[enable | disable | start | stop | status | log]", kAgentExamples, kAgentStatuses},
    {"agent enable", "[OPTIONS]", kEnableExamples, kAgentStatuses},
    {"agent disable", "[OPTIONS]", kDisableExamples, kAgentStatuses},
    {"agent start", "[OPTIONS]", kStartExamples, kAgentStatuses},
    {"agent stop", "[OPTIONS]", kStopExamples, kAgentStatuses},
    {"agent status", "[OPTIONS]", kAgentStatusExamples, kAgentStatusStatuses},
    {"agent log", "[OPTIONS]", kLogExamples, kLogStatuses},
    {"browser", "[list | enable | disable | status]", kBrowserExamples, kBrowserStatuses},
    {"browser list", "[OPTIONS]", kBrowserListExamples, kReadStatuses},
    {"browser enable", "[OPTIONS] [BROWSER...]", kBrowserEnableExamples, kBrowserStatuses},
    {"browser disable", "[OPTIONS] [BROWSER...]", kBrowserDisableExamples, kBrowserStatuses},
    {"browser status", "[OPTIONS]", kBrowserStatusExamples, kReadStatuses},
    {"status", "[OPTIONS]", kStatusExamples, kStatusStatuses},
    {"doctor", "[OPTIONS]", kDoctorExamples, kDoctorStatuses},
    {"report", "[OPTIONS]", kReportExamples, kReportStatuses},
};

}  // namespace

const CommandHelp& commandHelp(std::string_view name) {
  const auto* found = std::ranges::find(kCommands, name, &CommandHelp::name);
  return found == std::end(kCommands) ? kCommands[0] : *found;
}

}  // namespace tarvel
