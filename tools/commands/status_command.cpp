// tarvel status: what the agent is doing, what it goes by, and what to do next.

#include <iostream>
#include <nlohmann/json.hpp>

#include "agent/helper_errors.h"
#include "platform/path_components.h"
#include "settings/preference_keys.h"
#include "tools/agent/agent_context.h"
#include "tools/agent/reported_error.h"
#include "tools/agent/settings_table.h"
#include "tools/backups/initial_backup.h"
#include "tools/backups/kept_saves.h"
#include "tools/commands/agent_commands.h"
#include "tools/report/json_text.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

struct FileState {
  std::string path;
  bool exists = false;
  std::string text;
};

struct Status {
  std::optional<int> process;
  bool isWanted = false;
  std::string latency;
  FileState bookmarks;
  FileState backup;
  std::optional<std::int32_t> code;
  std::string message;
  /// What was told already, with its time; empty when nothing was.
  std::string reported;
  /// Where other programs' saves lie that a sort displaced.
  std::vector<std::string> keptSaves;

  /// Whether somebody should do something.
  [[nodiscard]] bool needsAttention() const { return code || (isWanted && !process) || !keptSaves.empty(); }
};

FileState stateOfFile(FileManager& files, const std::string& path) {
  FileState state{path, files.fileExistsAtPath(path), {}};
  const FileAttributes attributes = files.attributesOfItemAtPath(path);
  if (attributes.modificationDate) {
    state.text = "changed " + localTimeText(*attributes.modificationDate);
  } else {
    state.text = state.exists ? printable(attributes.status.reason) : "there is no such file";
  }
  return state;
}

std::string inForce(const AgentContext& agent, const char* key) {
  return stateOf(*settingNamed(key), agent.preferences, agent.files).inForce;
}

std::string reportedText(const AgentContext& agent) {
  const auto code = agent.preferences.appIntegerValue(kReportedErrorKey, kMainApplicationIdentifier);
  const PropertyList time = agent.preferences.copyAppValue(kReportedErrorTimeKey, kMainApplicationIdentifier);
  if (!code) return {};
  const auto number = static_cast<std::int32_t>(*code);
  return std::to_string(number) + ", told " + (time.root.date() ? localTimeText(*time.root.date()) : "at some time") +
         ": " + messageOfCode(agent, number);
}

Status gather(const AgentContext& agent) {
  Status status;
  status.process = agent.runningAgent();
  status.isWanted = inForce(agent, kAutoSortModeKey) == "yes";
  status.latency = inForce(agent, kBookmarksUpdateLatencyKey);
  status.bookmarks = stateOfFile(agent.files, inForce(agent, kBookmarksFilenameKey));
  const std::string& file = status.bookmarks.path;
  status.backup = stateOfFile(agent.files, initialBackupOf(agent.files, file, file).path);
  status.code = pendingCode(agent);
  if (status.code) status.message = messageOfCode(agent, *status.code);
  status.reported = reportedText(agent);
  status.keptSaves = agent.files.keptSavesAtPath(status.bookmarks.path);
  return status;
}

std::string agentText(const Status& status) {
  if (!status.process) return "not running";
  return *status.process == 0 ? "running" : "running, process " + std::to_string(*status.process);
}

std::string nextStep(const Status& status) {
  if (!status.isWanted) return "To have your bookmarks sorted by itself: tarvel agent enable";
  if (status.code == kHelperErrorUpdateFound && status.process) return "Run “tarvel report” once you have read this.";
  if (status.code) return "Mend what the error says, then start the agent again: tarvel agent start";
  if (!status.process)
    return status.reported.empty()
               ? "Start the agent: tarvel agent start"
               : "Mend what the error says, if it still holds, then start the agent: tarvel agent start";
  if (!status.bookmarks.exists) return "Say which file is yours: tarvel settings set BookmarksFilename PATH";
  return {};
}

void showOptions(const AgentContext& agent) {
  for (const char* key : {kFoldersAtTopKey, kRemoveDuplicatesKey, kRenameSamenamedKey, kSortBookmarksBarKey}) {
    std::cout << "                   " << settingNamed(key)->meaning << ": " << inForce(agent, key) << "\n";
  }
}

std::string lastErrorText(const Status& status, const Painter& painter) {
  if (status.code) return painter.red(std::to_string(*status.code) + ": " + printable(status.message));
  return status.reported.empty() ? "none" : printable(status.reported);
}

void show(const AgentContext& agent, const Status& status, const Painter& painter) {
  std::cout << "Agent:             " << agentText(status) << "\n"
            << "Automatic sorting: " << (status.isWanted ? "on" : "off") << ", " << status.latency
            << (status.latency == "1" ? " second" : " seconds") << " after the last change\n";
  showOptions(agent);
  std::cout << "Bookmarks file:    " << printable(status.bookmarks.path) << ", " << status.bookmarks.text << "\n"
            << "Folder watched:    " << printable(deletingLastPathComponent(status.bookmarks.path)) << "\n"
            << "Backup:            " << printable(status.backup.path) << ", "
            << (status.backup.exists ? status.backup.text : "not made yet") << "\n"
            << "Last error:        " << lastErrorText(status, painter) << "\n";
  for (const std::string& save : status.keptSaves) {
    const KeptSaveWords words = wordsForKeptSave(save, status.bookmarks.path);
    std::cout << "Kept save:         " << words.text << "\n                   " << words.advice << "\n";
  }
  const std::string next = nextStep(status);
  if (!next.empty()) std::cout << "\n" << next << "\n";
}

void showJson(const AgentContext& agent, const Status& status) {
  nlohmann::ordered_json json = {{"isRunning", status.process.has_value()},
                                 {"process", status.process.value_or(0)},
                                 {"automaticSorting", status.isWanted},
                                 {"bookmarksFile", status.bookmarks.path},
                                 {"bookmarksFileExists", status.bookmarks.exists},
                                 {"folderWatched", deletingLastPathComponent(status.bookmarks.path)},
                                 {"backup", status.backup.path},
                                 {"backupExists", status.backup.exists},
                                 {"lastError", status.code.value_or(0)},
                                 {"lastErrorMessage", status.message},
                                 {"lastReported", status.reported},
                                 {"keptSaves", status.keptSaves},
                                 {"settings", nlohmann::ordered_json::object()}};
  for (const Setting& setting : settingsTable()) json["settings"][setting.key] = inForce(agent, setting.key);
  std::cout << jsonText(json);
}

}  // namespace

int runStatus(const AgentContext& agent, const CommandLine& line) {
  const Status status = gather(agent);
  if (line.json) {
    showJson(agent, status);
  } else {
    show(agent, status, Painter(usesColor(line.color, 1)));
  }
  return status.needsAttention() ? kExitNeedsAttention : 0;
}

}  // namespace tarvel
