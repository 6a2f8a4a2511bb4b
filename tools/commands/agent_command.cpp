// tarvel agent: turns sorting by itself on and off, starts the agent and ends it.

#include <iostream>

#include "settings/preference_keys.h"
#include "tools/agent/agent_context.h"
#include "tools/agent/settings_table.h"
#include "tools/backups/initial_backup.h"
#include "tools/command_line/command_settings.h"
#include "tools/commands/agent_control.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

std::string inForce(const AgentContext& agent, const char* key) {
  return stateOf(*settingNamed(key), agent.preferences, agent.files).inForce;
}

bool isWanted(const AgentContext& agent) { return inForce(agent, kAutoSortModeKey) == "yes"; }

int complain(const std::string& complaint) {
  std::cerr << "tarvel: " << printable(complaint) << "\n";
  return kExitFailed;
}

/// Keeps the setting for good; false, with words, when it cannot be kept.
bool keepWanted(const AgentContext& agent, bool wanted) {
  const auto tree = std::make_shared<PropertyListTree>();
  agent.preferences.setAppValue(kAutoSortModeKey, {tree, tree->makeBoolean(wanted)}, kMainApplicationIdentifier);
  if (agent.preferences.appSynchronize(kMainApplicationIdentifier)) return true;
  (void)complain("The settings could not be written to “" + agent.settingsPath +
                 "”. Please verify that you have read and write access to the file and its folder, and that the disk "
                 "is not full.");
  return false;
}

std::string processText(AgentService& service) {
  const auto process = service.runningAgent();
  return process.value_or(0) == 0 ? std::string() : ", process " + std::to_string(*process);
}

std::string loginText(const LoginEntry& entry) {
  switch (entry.by) {
    case LoginStart::kServiceManager:
      return "whenever you log in";
    case LoginStart::kDesktop:
      return "whenever your desktop session begins";
    default:
      return "only when it is told to";
  }
}

void tellWhatComes(const AgentControl& control) {
  const AgentContext& agent = control.around;
  const std::string file = inForce(agent, kBookmarksFilenameKey);
  const bool isInteractive = agent.files.fileExistsAtPath(file);
  const std::vector<std::string> doubts = isInteractive ? control.doubts() : std::vector<std::string>();
  if (!doubts.empty()) {
    std::cout << "As things are, the first sort would fail:\n";
    for (const std::string& doubt : doubts) std::cout << "  " << doubt << "\n";
  } else if (isInteractive) {
    std::cout << "Nothing is sorted yet: the first sort follows the next change of “" << printable(file)
              << "”. To see what it would do: tarvel preview\n";
  } else {
    std::cout << "There is no file “" << printable(file) << "” yet; once there is, it will be sorted. If yours is "
              << "elsewhere: tarvel settings set " << kBookmarksFilenameKey
              << " PATH, then tarvel agent stop and tarvel agent start.\n";
  }
}

/// The agent knows one backup by its name alone, so that must not be another file's.
bool ownsAgentBackup(const AgentContext& agent) {
  const std::string file = readCommandSettings(agent.preferences, agent.files).bookmarksFile;
  const FileStatus assigned = assignAgentBackup(agent.files, file, file);
  if (!assigned.ok()) {
    (void)complain("The backup “" + agentBackupFile(agent.files) +
                   "” is that of another file and could not be moved aside: " + assigned.reason +
                   " Nothing was changed.");
  }
  return assigned.ok();
}

int enable(const AgentControl& control) {
  if (!ownsAgentBackup(control.around)) return kExitFailed;
  const ServiceAnswer enabled = control.service.enable(control.program);
  if (!enabled.isDone) return complain(enabled.complaint + " Nothing was changed.");
  const bool wasWanted = isWanted(control.around);
  // The agent looks for it when it starts.
  if (!wasWanted && !keepWanted(control.around, true)) return kExitFailed;
  const ServiceAnswer started = control.service.start(control.program);
  if (!started.isDone) return complain(started.complaint);
  const bool wasSo = wasWanted && !enabled.isChanged && !started.isChanged;
  std::cout << (wasSo ? "It is so already: automatic sorting is on. " : "Automatic sorting is on. ") << "The agent runs"
            << processText(control.service) << ", and starts " << loginText(control.service.loginEntry()) << ".\n";
  if (wasSo) return 0;
  if (!control.service.hasManager())
    std::cout << "No service manager of yours answers here, so your desktop was asked to start it. "
                 "Without a desktop, start it yourself after each login: tarvel agent start\n";
  tellWhatComes(control);
  std::cout << "To turn it off again: tarvel agent disable\n";
  return 0;
}

int disable(const AgentControl& control) {
  const bool wasWanted = isWanted(control.around);
  if (wasWanted && !keepWanted(control.around, false)) return kExitFailed;
  const ServiceAnswer disabled = control.service.disable();
  const ServiceAnswer stopped = control.service.stop();
  for (const ServiceAnswer& answer : {disabled, stopped}) {
    if (!answer.isDone) return complain("Automatic sorting is off from the agent's next start. " + answer.complaint);
  }
  if (!wasWanted && !disabled.isChanged && !stopped.isChanged) {
    std::cout << "It is so already: automatic sorting is off, and no agent runs or is started when you log in.\n";
    return 0;
  }
  std::cout << "Automatic sorting is off. No agent runs, and none is started when you log in.\n"
               "Your bookmarks and settings stay as they are. To turn it on again: tarvel agent enable\n";
  return 0;
}

int start(const AgentControl& control) {
  if (!isWanted(control.around)) {
    return complain("Automatic sorting is off, so the agent would end at once. To turn it on: tarvel agent enable");
  }
  const ServiceAnswer started = control.service.start(control.program);
  if (!started.isDone) return complain(started.complaint);
  std::cout << (started.isChanged ? "The agent runs now" : "The agent runs already") << processText(control.service)
            << ".\n";
  if (control.service.loginEntry().by == LoginStart::kNone)
    std::cout << "To have it start whenever you log in: tarvel agent enable\n";
  return 0;
}

int stop(const AgentControl& control) {
  const ServiceAnswer stopped = control.service.stop();
  if (!stopped.isDone) return complain(stopped.complaint);
  std::cout << (stopped.isChanged ? "The agent has ended.\n" : "No agent runs.\n");
  if (control.service.loginEntry().by != LoginStart::kNone)
    std::cout << "It starts again when you next log in. To turn sorting off for good: tarvel agent disable\n";
  return 0;
}

int tellState(const AgentControl& control) {
  const LoginEntry entry = control.service.loginEntry();
  const bool runs = control.service.runningAgent().has_value();
  const bool wanted = isWanted(control.around);
  std::cout << "Automatic sorting is " << (wanted ? "on" : "off") << ". The agent "
            << (runs ? "runs" + processText(control.service) : "does not run") << ", and starts " << loginText(entry);
  if (!entry.file.empty()) std::cout << " (“" << printable(entry.file) << "”)";
  std::cout << ".\nMore: tarvel status. To have everything checked: tarvel doctor\n";
  return wanted && !runs ? kExitNeedsAttention : 0;
}

}  // namespace

int runAgent(const AgentControl& control, const CommandLine& line) {
  switch (line.agentAction) {
    case AgentAction::kEnable:
      return enable(control);
    case AgentAction::kDisable:
      return disable(control);
    case AgentAction::kStart:
      return start(control);
    case AgentAction::kStop:
      return stop(control);
    default:
      return tellState(control);
  }
}

}  // namespace tarvel
