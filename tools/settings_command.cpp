// tarvel settings: what the agent goes by.

#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>

#include "agent/preference_keys.h"
#include "tools/agent_commands.h"
#include "tools/settings_table.h"

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
  return "set to “" + state.storedText + "”, which cannot be used";
}

nlohmann::ordered_json jsonOf(const Setting& setting, const SettingState& state) {
  nlohmann::ordered_json json = {
      {"key", setting.key},         {"value", state.inForce}, {"default", setting.defaultText},
      {"isStored", state.isStored}, {"isUsed", state.isUsed}, {"counts", effectText(setting.effect)},
      {"meaning", setting.meaning}};
  if (state.isStored) json["stored"] = state.storedText;
  return json;
}

void print(const nlohmann::ordered_json& json) {
  std::cout << json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << "\n";
}

int list(const AgentSurroundings& agent, const CommandLine& line) {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  const Painter painter(usesColor(line.color, 1));
  for (const Setting& setting : settingsTable()) {
    const SettingState state = stateOf(setting, agent.preferences, agent.files);
    if (line.json) {
      all.push_back(jsonOf(setting, state));
      continue;
    }
    std::cout << painter.bold(setting.key) << " = " << state.inForce << "\n    " << setting.meaning << ". "
              << painter.dim(originOf(state) + "; " + effectText(setting.effect)) << "\n";
  }
  if (line.json) print(all);
  return 0;
}

int get(const AgentSurroundings& agent, const CommandLine& line, const Setting& setting) {
  const SettingState state = stateOf(setting, agent.preferences, agent.files);
  if (line.json) {
    print(jsonOf(setting, state));
  } else {
    std::cout << state.inForce << "\n";
  }
  return 0;
}

int keep(const AgentSurroundings& agent, const std::string& done) {
  if (!agent.preferences.appSynchronize(kMainApplicationIdentifier)) {
    std::cerr << "tarvel: The settings could not be written to “" << printable(agent.settingsPath)
              << "”. Please verify that you have read and write access to the file and its folder, and that the disk "
                 "is not full.\n";
    return kExitFailed;
  }
  std::cout << done << "\n";
  return 0;
}

int set(const AgentSurroundings& agent, const CommandLine& line, const Setting& setting) {
  const SettingInput input = inputFor(setting, line.value, agent.files);
  if (!input.complaint.empty()) {
    std::cerr << "tarvel: " << setting.key << ": " << input.complaint << " Nothing was changed.\n";
    return kExitUsage;
  }
  agent.preferences.setAppValue(setting.key, input.value, kMainApplicationIdentifier);
  const SettingState state = stateOf(setting, agent.preferences, agent.files);
  const int status =
      keep(agent, std::string(setting.key) + " is now " + state.inForce + ", " + effectText(setting.effect) + ".");
  const bool isMissing = setting.type == SettingType::kPath && !agent.files.fileExistsAtPath(line.value);
  if (status == 0 && isMissing) std::cout << "There is no file of that name yet.\n";
  return status;
}

int unset(const AgentSurroundings& agent, const Setting& setting) {
  if (!stateOf(setting, agent.preferences, agent.files).isStored) {
    std::cout << setting.key << " was not set.\n";
    return 0;
  }
  agent.preferences.setAppValue(setting.key, {}, kMainApplicationIdentifier);
  const SettingState state = stateOf(setting, agent.preferences, agent.files);
  return keep(agent, std::string(setting.key) + " is the default again, " + state.inForce + ", " +
                         effectText(setting.effect) + ".");
}

}  // namespace

int runSettings(const AgentSurroundings& agent, const CommandLine& line) {
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
