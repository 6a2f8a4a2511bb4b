// tarvel settings: shows and changes the settings of agent and command.

#include <nlohmann/json.hpp>

#include "settings/preference_keys.h"
#include "tools/agent/agent_context.h"
#include "tools/agent/setting_json.h"
#include "tools/agent/settings_table.h"
#include "tools/backups/initial_backup.h"
#include "tools/command_line/closest_name.h"
#include "tools/command_line/command_settings.h"
#include "tools/commands/agent_commands.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

std::vector<std::string> knownNames() {
  std::vector<std::string> names;
  for (const Setting& setting : settingsTable()) names.push_back(settingName(setting.key));
  return names;
}

std::string originOf(const SettingState& state) {
  if (!state.isStored) return "default";
  if (state.isUsed) return "set";
  return "set to " + quotedText(state.storedText) + ", which cannot be used";
}

void setField(Answer& answer, const AgentContext& agent, const Setting& setting) {
  answer["setting"] = jsonOf(setting, stateOf(setting, agent.preferences, agent.files));
}

int list(Answer& answer, const AgentContext& agent) {
  answer.page();
  Answer::Json all = Answer::Json::array();
  const Painter& painter = answer.painter();
  for (const Setting& setting : settingsTable()) {
    const SettingState state = stateOf(setting, agent.preferences, agent.files);
    all.push_back(jsonOf(setting, state));
    std::string text = painter.bold(settingName(setting.key)) + " = " + printable(state.inForce) + "\n";
    if (!answer.options().isQuiet) {
      text += "    " + std::string(setting.meaning) + ". " +
              painter.dim(originOf(state) + "; " + effectText(setting.effect)) + "\n";
    }
    answer.print(text);
  }
  answer["settings"] = std::move(all);
  return answer.end(0);
}

int get(Answer& answer, const AgentContext& agent, const Setting& setting) {
  answer.print(printable(stateOf(setting, agent.preferences, agent.files).inForce) + "\n");
  setField(answer, agent, setting);
  return answer.end(0);
}

int refuse(Answer& answer, const Setting& setting, const std::string& complaint, const Message& advice = {}) {
  Message message{{settingName(setting.key) + ": " + complaint, kNothingChanged}, advice.command};
  message.sentences.insert(message.sentences.end(), advice.sentences.begin(), advice.sentences.end());
  return answer.fail(kExitUsage, message);
}

/// What makes an agent take over a setting that it reads when it starts.
void hintAtAgent(Answer& answer, const AgentContext& agent, const Setting& setting) {
  const bool isRunning = agent.runningAgent().has_value();
  const bool isReadAtStart =
      setting.effect == SettingEffect::kNextStart || setting.effect == SettingEffect::kNextSortThenStart;
  if (setting.key == std::string_view(kAutoSortModeKey)) {
    const bool isWanted = isSettingOn(agent, kAutoSortModeKey);
    if (isWanted == isRunning) return;
    answer.hint(isWanted ? "To turn it on now:" : "To turn it off now:",
                isWanted ? "tarvel agent enable" : "tarvel agent disable");
  } else if (isRunning && isReadAtStart) {
    answer.hint("To restart the agent now:", "tarvel agent stop && tarvel agent start");
  }
}

/// Where the setting names the bookmarks file: the agent's initial backup becomes that of `file`, which the agent is
/// about to sort. `previous` is the file that it sorted before.
FileStatus assignBackup(const AgentContext& agent, const Setting& setting, const std::string& file,
                        const std::string& previous) {
  return setting.type == SettingType::kPath ? assignAgentBackup(agent.files, file, previous) : FileStatus{};
}

/// A value to store.
struct Storing {
  const Setting& setting;
  /// Null for the default.
  PropertyList value;
  /// Of the setting bookmarks-filename, the file from then on.
  std::string file;
  const char* done;
};

int store(Answer& answer, const AgentContext& agent, const Storing& storing) {
  const Setting& setting = storing.setting;
  const std::string previous = bookmarksFileOf(agent);
  const FileStatus assigned = assignBackup(agent, setting, storing.file, previous);
  if (!assigned.ok()) {
    return answer.fail(kExitFailed, {{"The backup of " + quotedPath(previous) + " could not be moved aside.",
                                      reasonOf(assigned), kNothingChanged},
                                     {}});
  }
  agent.preferences.setAppValue(setting.key, storing.value, kMainApplicationIdentifier);
  if (!agent.preferences.appSynchronize(kMainApplicationIdentifier)) {
    (void)assignBackup(agent, setting, previous, storing.file);
    Message message = settingsNotWritten(agent);
    message.sentences.emplace_back(kNothingChanged);
    return answer.fail(kExitFailed, message);
  }
  // An agent may have sorted the previous file, and backed it up, between the two steps above.
  (void)assignBackup(agent, setting, storing.file, previous);
  answer.say(settingName(setting.key) + storing.done +
             printable(stateOf(setting, agent.preferences, agent.files).inForce) + ", " + effectText(setting.effect) +
             ".");
  return 0;
}

int set(Answer& answer, const AgentContext& agent, const CommandLine& line, const Setting& setting) {
  const SettingInput input = inputFor(setting, line.value, agent.files);
  if (!input.complaint.empty()) return refuse(answer, setting, input.complaint, input.advice);
  const bool isPath = setting.type == SettingType::kPath;
  if (isPath && isKeptBackup(agent.files, line.value, agentBackupFile(agent.files))) {
    return refuse(answer, setting, quotedPath(line.value) + " is a backup, and backups stay as they are.");
  }
  if (const int status = store(answer, agent, {setting, input.value, line.value, " is now "}); status != 0) {
    return status;
  }
  setField(answer, agent, setting);
  if (isPath && !agent.files.fileExistsAtPath(line.value)) answer.say("There is no such file yet.");
  hintAtAgent(answer, agent, setting);
  return answer.end(0);
}

int unset(Answer& answer, const AgentContext& agent, const Setting& setting) {
  if (!stateOf(setting, agent.preferences, agent.files).isStored) {
    setField(answer, agent, setting);
    answer.say(settingName(setting.key) + " was not set.");
    return answer.end(0);
  }
  const std::string file = agent.files.stringByExpandingTildeInPath(kBookmarksFilenameDefault);
  if (const int status = store(answer, agent, {setting, {}, file, " is the default again, "}); status != 0) {
    return status;
  }
  setField(answer, agent, setting);
  hintAtAgent(answer, agent, setting);
  return answer.end(0);
}

}  // namespace

int runSettings(const AgentContext& agent, const CommandLine& line) {
  Answer answer(line.name, line.output);
  if (line.settingsAction == SettingsAction::kList) return list(answer, agent);
  const Setting* setting = settingNamed(line.key);
  if (setting == nullptr) {
    return answer.fail(kExitUsage,
                       {{"There is no setting " + quotedText(line.key) + ".", didYouMean(line.key, knownNames())},
                        "tarvel settings list"});
  }
  if (line.settingsAction == SettingsAction::kGet) return get(answer, agent, *setting);
  if (!isSettable(*setting)) return refuse(answer, *setting, "Tarvel writes this setting itself.");
  return line.settingsAction == SettingsAction::kSet ? set(answer, agent, line, *setting)
                                                     : unset(answer, agent, *setting);
}

}  // namespace tarvel
