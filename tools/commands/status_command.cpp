// tarvel status: the agent, the settings in force, the last error, and what to do next.

#include <nlohmann/json.hpp>

#include "agent/helper_errors.h"
#include "platform/path_components.h"
#include "settings/preference_keys.h"
#include "tools/agent/agent_context.h"
#include "tools/agent/reported_error.h"
#include "tools/agent/setting_json.h"
#include "tools/agent/settings_table.h"
#include "tools/backups/backup_name.h"
#include "tools/backups/initial_backup.h"
#include "tools/backups/kept_saves.h"
#include "tools/command_line/command_settings.h"
#include "tools/commands/agent_commands.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

struct FileState {
  std::string path;
  bool exists = false;
  std::optional<Date> changed;
  std::string reason;
};

/// An error that was shown already.
struct ReportedError {
  std::int32_t code = 0;
  std::optional<double> secondsSince2001;
  std::string message;
};

struct Status {
  std::optional<int> process;
  bool isWanted = false;
  std::string latency;
  FileState bookmarks;
  FileState backup;
  std::optional<std::int32_t> code;
  std::string message;
  std::optional<ReportedError> reported;
  /// Other programs' saves that a sort displaced.
  std::vector<std::string> keptSaves;

  [[nodiscard]] bool needsAttention() const { return code || (isWanted && !process) || !keptSaves.empty(); }
};

FileState stateOfFile(FileManager& files, const std::string& path) {
  const FileAttributes attributes = files.attributesOfItemAtPath(path);
  return {path, files.fileExistsAtPath(path), attributes.modificationDate, attributes.status.reason};
}

std::optional<ReportedError> reportedError(const AgentContext& agent) {
  const auto code = agent.preferences.appIntegerValue(kReportedErrorKey, kMainApplicationIdentifier);
  if (!code) return std::nullopt;
  const PropertyList time = agent.preferences.copyAppValue(kReportedErrorTimeKey, kMainApplicationIdentifier);
  const auto number = static_cast<std::int32_t>(*code);
  return ReportedError{number, time.root.date(), messageOfCode(agent, number)};
}

Status gather(const AgentContext& agent) {
  Status status;
  status.process = agent.runningAgent();
  status.isWanted = isSettingOn(agent, kAutoSortModeKey);
  status.latency = settingInForce(agent, kBookmarksUpdateLatencyKey);
  status.bookmarks = stateOfFile(agent.files, bookmarksFileOf(agent));
  const std::string& file = status.bookmarks.path;
  status.backup = stateOfFile(agent.files, initialBackupOf(agent.files, file, file).path);
  status.code = pendingCode(agent);
  if (status.code) status.message = messageOfCode(agent, *status.code);
  status.reported = reportedError(agent);
  status.keptSaves = agent.files.keptSavesAtPath(status.bookmarks.path);
  return status;
}

std::string agentText(const Status& status) {
  if (!status.process) return "not running";
  return *status.process == 0 ? "running" : "running, process " + std::to_string(*status.process);
}

std::string fileText(const FileState& file, const char* missing) {
  if (file.changed) return shownPath(file.path) + ", changed " + localTimeText(*file.changed);
  return shownPath(file.path) + ", " + (file.exists ? printable(file.reason) : missing);
}

Message nextStep(const Status& status) {
  if (!status.isWanted) return {{"To sort your bookmarks automatically:"}, "tarvel agent enable"};
  if (status.code == kHelperErrorUpdateFound && status.process) return {{"Once you have read this:"}, "tarvel report"};
  if (status.code) return {{"Fix what the error says, then start the agent again:"}, "tarvel agent start"};
  if (!status.process) {
    return {{status.reported ? "Fix what the error says, if it still applies, then start the agent:"
                             : "To start the agent:"},
            "tarvel agent start"};
  }
  if (!status.bookmarks.exists) {
    return {{"Name your bookmarks file:"}, "tarvel settings set " + settingName(kBookmarksFilenameKey) + " PATH"};
  }
  return {};
}

std::string lastErrorText(const Status& status, const Painter& painter) {
  if (status.code) return painter.red(std::to_string(*status.code) + ": " + printable(status.message));
  if (!status.reported) return "none";
  const auto& seconds = status.reported->secondsSince2001;
  return std::to_string(status.reported->code) + ", reported " +
         (seconds ? localTimeText(*seconds) : std::string("at an unknown time")) + ": " +
         printable(status.reported->message);
}

/// The table, one row for each label; a row without one belongs to that above it.
std::string rowsOf(const AgentContext& agent, const Status& status, const Answer& answer) {
  constexpr std::size_t kMargin = 19;
  std::string text;
  const auto row = [&](std::string label, const std::string& value) {
    label.resize(kMargin, ' ');
    text += wrapped(label + value, answer.columns(), kMargin) + "\n";
  };
  row("Agent:", agentText(status));
  row("Automatic sorting:", std::string(status.isWanted ? "on" : "off") + ", " + status.latency +
                                (status.latency == "1" ? " second" : " seconds") + " after the last change");
  for (const char* key : {kFoldersAtTopKey, kRemoveDuplicatesKey, kRenameSamenamedKey, kSortBookmarksBarKey}) {
    row("", std::string(settingNamed(key)->meaning) + ": " + settingInForce(agent, key));
  }
  row("Bookmarks file:", fileText(status.bookmarks, "which does not exist"));
  row("Folder watched:", shownPath(deletingLastPathComponent(status.bookmarks.path)));
  row("Initial backup:", fileText(status.backup, "not made yet"));
  row("Last error:", lastErrorText(status, answer.painter()));
  for (const std::string& save : status.keptSaves) row("Kept save:", shownPath(save));
  return text;
}

void show(Answer& answer, const AgentContext& agent, const Status& status) {
  answer.print(rowsOf(agent, status, answer));
  std::vector<Message> steps;
  for (const std::string& save : status.keptSaves) steps.push_back(messageOfKeptSave(save, status.bookmarks.path));
  if (const Message next = nextStep(status); !next.sentences.empty()) steps.push_back(next);
  for (const Message& step : steps) {
    if (!answer.options().isQuiet) answer.print("\n");
    answer.hint(step);
  }
}

Answer::Json fileAsJson(const FileState& file) {
  return {{"path", file.path},
          {"exists", file.exists},
          {"changed", file.changed ? Answer::Json(utcText(*file.changed)) : Answer::Json()}};
}

void setFields(Answer& answer, const AgentContext& agent, const Status& status) {
  using Json = Answer::Json;
  answer["running"] = status.process.has_value();
  answer["process"] = status.process.value_or(0) == 0 ? Json() : Json(*status.process);
  answer["automaticSorting"] = status.isWanted;
  answer["bookmarksFile"] = fileAsJson(status.bookmarks);
  answer["folderWatched"] = deletingLastPathComponent(status.bookmarks.path);
  answer["initialBackup"] = fileAsJson(status.backup);
  answer["pendingError"] = status.code ? Json({{"code", *status.code}, {"message", status.message}}) : Json();
  answer["reportedError"] =
      status.reported ? Json({{"code", status.reported->code}, {"message", status.reported->message}}) : Json();
  answer["keptSaves"] = status.keptSaves;
  Json settings = Json::object();
  for (const Setting& setting : settingsTable()) {
    settings[settingName(setting.key)] = valueAsJson(setting, stateOf(setting, agent.preferences, agent.files));
  }
  answer["settings"] = std::move(settings);
}

}  // namespace

int runStatus(const AgentContext& agent, const CommandLine& line) {
  Answer answer(line.name, line.output);
  const Status status = gather(agent);
  setFields(answer, agent, status);
  show(answer, agent, status);
  return answer.end(status.needsAttention() ? kExitNeedsAttention : 0);
}

}  // namespace tarvel
