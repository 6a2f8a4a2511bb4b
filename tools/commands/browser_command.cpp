// tarvel browser: sets the installed browsers up for the extension.

#include "tools/commands/browser_command.h"

#include <algorithm>

#include "settings/preference_keys.h"
#include "tools/command_line/closest_name.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

constexpr const char* kNoHost = "The program that the extension asks, tarvel-browser-host, is not installed.";

using States = std::vector<BrowserState>;

States statesOf(const BrowserSurroundings& around, FileManager& files) {
  States states;
  for (const KnownBrowser& browser : knownBrowsers()) states.push_back(stateOf(browser, around, files));
  return states;
}

struct StateWords {
  /// For programs.
  const char* name;
  const char* text;
};

StateWords wordsOf(const BrowserState& state) {
  switch (state.manifest) {
    case ManifestState::kBroken:
      return {"host-missing", "set up for a host that is missing"};
    case ManifestState::kOtherHost:
      return {"set-up-for-another-installation", "set up for the host of another installation"};
    case ManifestState::kUsable:
      return {"set-up", "set up"};
    case ManifestState::kMissing:
      break;
  }
  if (state.systemManifest == ManifestState::kBroken) {
    return {"host-missing-for-all-users", "set up for all users, for a host that is missing"};
  }
  if (state.systemManifest == ManifestState::kMissing) return {"not-set-up", "not set up"};
  return {"set-up-for-all-users", "set up for all users"};
}

void setFields(Answer& answer, const States& states) {
  Answer::Json& browsers = answer["browsers"] = Answer::Json::array();
  for (const BrowserState& state : states) {
    browsers.push_back({{"browser", state.browser->name},
                        {"found", state.isFound},
                        {"setUp", state.isSetUp()},
                        {"state", wordsOf(state).name},
                        {"manifest", state.manifestPath}});
  }
}

void sayState(Answer& answer, const BrowserState& state) {
  answer.say(std::string(state.browser->label) + " (" + state.browser->name +
             "): " + (state.isFound ? "found" : "not found") + ", " + wordsOf(state).text + ".");
}

/// The browsers that were named, or, without names, those that are found. `unknown` is a name that is not known.
States chosen(const CommandLine& line, const BrowserSurroundings& around, FileManager& files, std::string& unknown) {
  States states;
  for (const std::string& name : line.browsers) {
    const KnownBrowser* browser = browserNamed(name);
    if (browser == nullptr) {
      unknown = name;
      return {};
    }
    states.push_back(stateOf(*browser, around, files));
  }
  if (!line.browsers.empty()) return states;
  states = statesOf(around, files);
  std::erase_if(states, [](const BrowserState& state) { return !state.isFound; });
  return states;
}

int failForUnknown(Answer& answer, const std::string& name) {
  std::vector<std::string> known;
  for (const KnownBrowser& browser : knownBrowsers()) known.emplace_back(browser.name);
  return answer.fail(kExitUsage, {{"There is no browser " + quotedText(name) + ".", didYouMean(name, known),
                                   kNothingChanged, "To see which are known:"},
                                  "tarvel browser list"});
}

void sayNextStep(Answer& answer, const BrowserState& state, const BrowserSurroundings& around) {
  const std::string folder =
      around.extensionFolder.empty() ? quotedText("browser/extension") : quotedPath(around.extensionFolder);
  if (state.systemManifest != ManifestState::kMissing) {
    answer.say("The extension is installed for all users.");
    answer.say("Restart the browser if its button is missing.");
  } else if (state.browser->family == BrowserFamily::kChromium) {
    answer.say("Left to do: open chrome://extensions and turn on developer mode.");
    answer.say("Then choose “Load unpacked” and " + folder + ".");
  } else {
    answer.say("Left to do: install the package webext-tarvel.");
    answer.say("Or, until Firefox is closed: open about:debugging, then “This Firefox”.");
    answer.say("Choose “Load Temporary Add-on” and manifest.json in " + folder + ".");
  }
}

int endWithoutBrowser(Answer& answer) {
  answer.say("No browser was found.");
  answer.hint("To see which are known, to name one:", "tarvel browser list");
  return answer.end(0);
}

int enable(Answer& answer, const AgentContext& agent, const BrowserSurroundings& around, const CommandLine& line) {
  std::string unknown;
  const States states = chosen(line, around, agent.files, unknown);
  if (!unknown.empty()) return failForUnknown(answer, unknown);
  if (around.hostProgram.empty()) return answer.fail(kExitFailed, {{kNoHost, kNothingChanged}, {}});
  setFields(answer, states);
  if (states.empty()) return endWithoutBrowser(answer);
  int status = 0;
  for (const BrowserState& state : states) {
    const FileStatus written = writeManifest(state, around, agent.files);
    if (!written.ok()) {
      answer.complain({{std::string(state.browser->label) + " was not set up.", reasonOf(written)}, {}});
      status = kExitFailed;
      continue;
    }
    answer.say(std::string(state.browser->label) + " is set up.");
    sayNextStep(answer, state, around);
  }
  setFields(answer, chosen(line, around, agent.files, unknown));
  return answer.end(status);
}

int disable(Answer& answer, const AgentContext& agent, const BrowserSurroundings& around, const CommandLine& line) {
  std::string unknown;
  const States states = chosen(line, around, agent.files, unknown);
  if (!unknown.empty()) return failForUnknown(answer, unknown);
  setFields(answer, states);
  if (states.empty()) return endWithoutBrowser(answer);
  int status = 0;
  for (const BrowserState& state : states) {
    const std::string label = state.browser->label;
    if (state.manifest == ManifestState::kMissing) {
      answer.say(label + " was not set up for this user.");
    } else if (const FileStatus removed = agent.files.removeItemAtPath(state.manifestPath); !removed.ok()) {
      answer.complain({{label + " is still set up.", reasonOf(removed)}, {}});
      status = kExitFailed;
    } else {
      answer.say(label + " is no longer set up.");
    }
    if (state.systemManifest != ManifestState::kMissing) {
      answer.say("It is set up for all users. Removing the package webext-tarvel ends that.");
    }
  }
  setFields(answer, chosen(line, around, agent.files, unknown));
  return answer.end(status);
}

int list(Answer& answer, const AgentContext& agent, const BrowserSurroundings& around) {
  const States states = statesOf(around, agent.files);
  setFields(answer, states);
  for (const BrowserState& state : states) sayState(answer, state);
  return answer.end(0);
}

int showStatus(Answer& answer, const AgentContext& agent, const BrowserSurroundings& around) {
  const bool isAutomatic = isSettingOn(agent, kAutoSortBrowsersKey);
  const States states = statesOf(around, agent.files);
  answer["automatic"] = isAutomatic;
  answer["host"] = around.hostProgram.empty() ? Answer::Json() : Answer::Json(around.hostProgram);
  answer["extension"] = around.extensionFolder.empty() ? Answer::Json() : Answer::Json(around.extensionFolder);
  setFields(answer, states);
  answer.say(std::string("Automatic sorting in browsers is ") + (isAutomatic ? "on." : "off."));
  if (around.hostProgram.empty()) answer.say(kNoHost);
  for (const BrowserState& state : states) {
    if (state.isFound || state.isSetUp()) sayState(answer, state);
  }
  const bool needsSetUp =
      std::ranges::any_of(states, [](const BrowserState& state) { return state.isFound && !state.isSetUp(); });
  if (needsSetUp) answer.hint("To set up the browsers that are found:", "tarvel browser enable");
  return answer.end(0);
}

}  // namespace

int runBrowser(const AgentContext& agent, const BrowserSurroundings& around, const CommandLine& line) {
  Answer answer(line.name, line.output);
  switch (line.browserAction) {
    case BrowserAction::kEnable:
      return enable(answer, agent, around, line);
    case BrowserAction::kDisable:
      return disable(answer, agent, around, line);
    case BrowserAction::kList:
      return list(answer, agent, around);
    case BrowserAction::kStatus:
      break;
  }
  return showStatus(answer, agent, around);
}

}  // namespace tarvel
