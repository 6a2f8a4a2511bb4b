// tarvel settings: what the agent goes by.

#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>

#include "settings/preference_keys.h"
#include "tools/agent/agent_context.h"
#include "tools/agent/settings_table.h"
#include "tools/backups/initial_backup.h"
#include "tools/command_line/argument_parser.h"
#include "tools/command_line/command_settings.h"
#include "tools/commands/agent_commands.h"
#include "tools/report/json_text.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

std::vector<std::string> knownKeys() {
  std::vector<std::string> keys;
  for (const Setting& setting : settingsTable()) keys.emplace_back(setting.key);
  return keys;
}

std::string originOf(const SettingState& state) {
  if (!state.isStored) return "default";
  if (state.isUsed) return "set";
  return "set to “" + printable(state.storedText) + "”, which cannot be used";
}

nlohmann::ordered_json jsonOf(const Setting& setting, const SettingState& state) {
  nlohmann::ordered_json json = {
      {"key", setting.key},         {"value", state.inForce}, {"default", setting.defaultText},
      {"isStored", state.isStored}, {"isUsed", state.isUsed}, {"counts", effectText(setting.effect)},
      {"meaning", setting.meaning}};
  if (state.isStored) json["stored"] = state.storedText;
  return json;
}

int list(const AgentContext& agent, const CommandLine& line) {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  const Painter painter(usesColor(line.color, 1));
  for (const Setting& setting : settingsTable()) {
    const SettingState state = stateOf(setting, agent.preferences, agent.files);
    if (line.json) {
      all.push_back(jsonOf(setting, state));
      continue;
    }
    std::cout << painter.bold(setting.key) << " = " << printable(state.inForce) << "\n    " << setting.meaning << ". "
              << painter.dim(originOf(state) + "; " + effectText(setting.effect)) << "\n";
  }
  if (line.json) std::cout << jsonText(all);
  return 0;
}

int get(const AgentContext& agent, const CommandLine& line, const Setting& setting) {
  const SettingState state = stateOf(setting, agent.preferences, agent.files);
  if (line.json) {
    std::cout << jsonText(jsonOf(setting, state));
  } else {
    std::cout << printable(state.inForce) << "\n";
  }
  return 0;
}

int complainOfUse(const Setting& setting, const std::string& complaint) {
  std::cerr << "tarvel: " << setting.key << ": " << complaint << " Nothing was changed.\n";
  return kExitUsage;
}

/// Where the setting names the bookmarks file: the agent's initial backup becomes that of `file`, which the agent is
/// about to sort. `previous` is the file that it sorted before.
FileStatus assignBackup(const AgentContext& agent, const Setting& setting, const std::string& file,
                        const std::string& previous) {
  return setting.type == SettingType::kPath ? assignAgentBackup(agent.files, file, previous) : FileStatus{};
}

/// Keeps a value, or none for the default; `done` says so. `file` is the bookmarks file from then on, if it is that
/// setting.
int keep(const AgentContext& agent, const Setting& setting, const PropertyList& value, const std::string& file,
         const std::string& done) {
  const std::string previous = readCommandSettings(agent.preferences, agent.files).bookmarksFile;
  const FileStatus assigned = assignBackup(agent, setting, file, previous);
  if (!assigned.ok()) {
    std::cerr << "tarvel: The backup of “" << printable(previous)
              << "” could not be moved aside: " << printable(assigned.reason) << " Nothing was changed.\n";
    return kExitFailed;
  }
  agent.preferences.setAppValue(setting.key, value, kMainApplicationIdentifier);
  if (!agent.preferences.appSynchronize(kMainApplicationIdentifier)) {
    (void)assignBackup(agent, setting, previous, file);
    std::cerr << "tarvel: The settings could not be written to “" << printable(agent.settingsPath)
              << "”. Please verify that you have read and write access to the file and its folder, and that the disk "
                 "is not full.\n";
    return kExitFailed;
  }
  // An agent may have sorted the previous file, and backed it up, between the two steps above.
  (void)assignBackup(agent, setting, file, previous);
  std::cout << setting.key << done << printable(stateOf(setting, agent.preferences, agent.files).inForce) << ", "
            << effectText(setting.effect) << ".\n";
  return 0;
}

int set(const AgentContext& agent, const CommandLine& line, const Setting& setting) {
  const SettingInput input = inputFor(setting, line.value, agent.files);
  if (!input.complaint.empty()) return complainOfUse(setting, input.complaint);
  const bool isPath = setting.type == SettingType::kPath;
  if (isPath && isKeptBackup(agent.files, line.value, agentBackupFile(agent.files))) {
    return complainOfUse(setting, "“" + printable(line.value) + "” is a backup, and backups stay as they are.");
  }
  const int status = keep(agent, setting, input.value, line.value, " is now ");
  const bool isMissing = isPath && !agent.files.fileExistsAtPath(line.value);
  if (status == 0 && isMissing) std::cout << "There is no file of that name yet.\n";
  return status;
}

int unset(const AgentContext& agent, const Setting& setting) {
  if (!stateOf(setting, agent.preferences, agent.files).isStored) {
    std::cout << setting.key << " was not set.\n";
    return 0;
  }
  const std::string file = agent.files.stringByExpandingTildeInPath(kBookmarksFilenameDefault);
  return keep(agent, setting, {}, file, " is the default again, ");
}

}  // namespace

int runSettings(const AgentContext& agent, const CommandLine& line) {
  if (line.settingsAction == SettingsAction::kList) return list(agent, line);
  const Setting* setting = settingNamed(line.key);
  if (setting == nullptr) {
    std::cerr << "tarvel: There is no setting “" << printable(line.key) << "”.\n";
    const std::string meant = closestOption(line.key, knownKeys());
    if (!meant.empty()) std::cerr << "Did you mean “" << meant << "”?\n";
    std::cerr << "Run “tarvel settings” for what there is.\n";
    return kExitUsage;
  }
  if (line.settingsAction == SettingsAction::kGet) return get(agent, line, *setting);
  if (!isSettable(*setting)) {
    std::cerr << "tarvel: " << setting->key << " is kept by Tarvel itself.\n";
    return kExitUsage;
  }
  return line.settingsAction == SettingsAction::kSet ? set(agent, line, *setting) : unset(agent, *setting);
}

}  // namespace tarvel
