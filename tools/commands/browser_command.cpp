// tarvel browser: sets the browsers that run here up for the extension.

#include "tools/commands/browser_command.h"

#include <iostream>
#include <nlohmann/json.hpp>

#include "settings/preference_keys.h"
#include "tools/agent/settings_table.h"
#include "tools/report/json_text.h"

namespace tarvel {

namespace {

constexpr const char* kNoHost = "The host that belongs to this command is not installed. Install Tarvel as a whole.";

std::vector<BrowserState> statesOf(const BrowserSurroundings& around, FileManager& files) {
  std::vector<BrowserState> states;
  for (const KnownBrowser& browser : knownBrowsers()) states.push_back(stateOf(browser, around, files));
  return states;
}

const char* wordFor(const BrowserState& state) {
  if (state.manifest == ManifestState::kBroken) return "set up for a host that is missing";
  if (state.manifest == ManifestState::kOtherHost) return "set up for the host of another installation";
  if (state.manifest == ManifestState::kUsable) return "set up";
  if (state.systemManifest == ManifestState::kBroken) return "set up for all users, for a host that is missing";
  if (state.systemManifest != ManifestState::kMissing) return "set up for all users";
  return "not set up";
}

nlohmann::ordered_json jsonOf(const BrowserState& state) {
  return {{"browser", state.browser->name},
          {"isFound", state.isFound},
          {"isSetUp", state.isSetUp()},
          {"state", wordFor(state)},
          {"manifest", state.manifestPath}};
}

void tellState(const BrowserState& state) {
  std::cout << state.browser->label << " (" << state.browser->name << "): " << (state.isFound ? "found" : "not found")
            << ", " << wordFor(state) << ".\n";
}

/// The browsers that were named, or, without names, those that are found. None after a complaint about a name.
std::optional<std::vector<BrowserState>> chosen(const CommandLine& line, const BrowserSurroundings& around,
                                                FileManager& files) {
  std::vector<BrowserState> states;
  for (const std::string& name : line.browsers) {
    const KnownBrowser* browser = browserNamed(name);
    if (browser == nullptr) {
      std::cerr << "tarvel: There is no browser “" << printable(name) << "”. Run “tarvel browser list”.\n";
      return std::nullopt;
    }
    states.push_back(stateOf(*browser, around, files));
  }
  if (!line.browsers.empty()) return states;
  states = statesOf(around, files);
  std::erase_if(states, [](const BrowserState& state) { return !state.isFound; });
  return states;
}

void tellNextStep(const BrowserState& state, const BrowserSurroundings& around) {
  const std::string folder =
      around.extensionFolder.empty() ? "the folder browser/extension" : "“" + printable(around.extensionFolder) + "”";
  if (state.systemManifest != ManifestState::kMissing) {
    std::cout << "  The extension is installed for all users. Restart the browser if its button is missing.\n";
  } else if (state.browser->family == BrowserFamily::kChromium) {
    std::cout << "  Left to do: open chrome://extensions, turn on developer mode, choose “Load unpacked” and " << folder
              << ".\n";
  } else {
    std::cout << "  Left to do: install the package webext-tarvel. Or, until Firefox ends: open about:debugging, “This "
                 "Firefox”, “Load Temporary Add-on” and manifest.json in "
              << folder << ".\n";
  }
}

int enable(const AgentContext& agent, const BrowserSurroundings& around, const CommandLine& line) {
  const auto states = chosen(line, around, agent.files);
  if (!states) return kExitUsage;
  if (around.hostProgram.empty()) {
    std::cerr << "tarvel: " << kNoHost << " Nothing was changed.\n";
    return kExitFailed;
  }
  if (states->empty()) {
    std::cout << "No browser was found. Run “tarvel browser list” for those that are known, and name one.\n";
    return 0;
  }
  int status = 0;
  for (const BrowserState& state : *states) {
    const FileStatus written = writeManifest(state, around, agent.files);
    if (!written.ok()) {
      std::cerr << "tarvel: " << state.browser->label << ": “" << printable(state.manifestPath)
                << "” could not be written: " << printable(written.reason) << "\n";
      status = kExitFailed;
      continue;
    }
    std::cout << state.browser->label << " is set up.\n";
    tellNextStep(state, around);
  }
  return status;
}

int disable(const AgentContext& agent, const BrowserSurroundings& around, const CommandLine& line) {
  const auto states = chosen(line, around, agent.files);
  if (!states) return kExitUsage;
  int status = 0;
  for (const BrowserState& state : *states) {
    if (state.manifest == ManifestState::kMissing) {
      std::cout << state.browser->label << " was not set up for this user.\n";
    } else if (const FileStatus removed = agent.files.removeItemAtPath(state.manifestPath); !removed.ok()) {
      std::cerr << "tarvel: “" << printable(state.manifestPath)
                << "” could not be removed: " << printable(removed.reason) << "\n";
      status = kExitFailed;
    } else {
      std::cout << state.browser->label << " is no longer set up.\n";
    }
    if (state.systemManifest != ManifestState::kMissing) {
      std::cout << "  It is set up for all users: remove the package webext-tarvel to end that.\n";
    }
  }
  return status;
}

int list(const AgentContext& agent, const BrowserSurroundings& around, const CommandLine& line) {
  const std::vector<BrowserState> states = statesOf(around, agent.files);
  if (!line.json) {
    for (const BrowserState& state : states) tellState(state);
    return 0;
  }
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const BrowserState& state : states) json.push_back(jsonOf(state));
  std::cout << jsonText(json);
  return 0;
}

int status(const AgentContext& agent, const BrowserSurroundings& around, const CommandLine& line) {
  const bool isAutomatic =
      stateOf(*settingNamed(kAutoSortBrowsersKey), agent.preferences, agent.files).inForce == "yes";
  const std::vector<BrowserState> states = statesOf(around, agent.files);
  if (line.json) {
    nlohmann::ordered_json json = {{"automatic", isAutomatic},
                                   {"host", around.hostProgram},
                                   {"extension", around.extensionFolder},
                                   {"browsers", nlohmann::ordered_json::array()}};
    for (const BrowserState& state : states) json["browsers"].push_back(jsonOf(state));
    std::cout << jsonText(json);
    return 0;
  }
  std::cout << "Automatic sorting in browsers is " << (isAutomatic ? "on" : "off") << ".\n";
  if (around.hostProgram.empty()) std::cout << kNoHost << "\n";
  for (const BrowserState& state : states) {
    if (state.isFound || state.isSetUp()) tellState(state);
  }
  return 0;
}

}  // namespace

int runBrowser(const AgentContext& agent, const BrowserSurroundings& around, const CommandLine& line) {
  switch (line.browserAction) {
    case BrowserAction::kEnable:
      return enable(agent, around, line);
    case BrowserAction::kDisable:
      return disable(agent, around, line);
    case BrowserAction::kList:
      return list(agent, around, line);
    case BrowserAction::kStatus:
      break;
  }
  return status(agent, around, line);
}

}  // namespace tarvel
