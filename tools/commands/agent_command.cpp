// tarvel agent: turns automatic sorting on and off, starts and stops the agent.

#include "settings/preference_keys.h"
#include "tools/agent/agent_context.h"
#include "tools/backups/initial_backup.h"
#include "tools/command_line/command_settings.h"
#include "tools/commands/agent_control.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

bool isWanted(const AgentContext& agent) { return isSettingOn(agent, kAutoSortModeKey); }

/// Stores the setting. False when it cannot be written.
bool storeWanted(const AgentContext& agent, bool isWanted) {
  const auto tree = std::make_shared<PropertyListTree>();
  agent.preferences.setAppValue(kAutoSortModeKey, {tree, tree->makeBoolean(isWanted)}, kMainApplicationIdentifier);
  return agent.preferences.appSynchronize(kMainApplicationIdentifier);
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
      return "only when you start it";
  }
}

void setFields(Answer& answer, const AgentControl& control) {
  const auto process = control.service.runningAgent();
  const LoginEntry entry = control.service.loginEntry();
  answer["automaticSorting"] = isWanted(control.agent);
  answer["running"] = process.has_value();
  answer["process"] = process.value_or(0) == 0 ? Answer::Json() : Answer::Json(*process);
  answer["startedBy"] = entry.by == LoginStart::kServiceManager ? Answer::Json("service-manager")
                        : entry.by == LoginStart::kDesktop      ? Answer::Json("desktop")
                                                                : Answer::Json();
  answer["startFile"] = entry.file.empty() ? Answer::Json() : Answer::Json(entry.file);
}

void sayWhatComes(Answer& answer, const AgentControl& control) {
  const AgentContext& agent = control.agent;
  const std::string file = bookmarksFileOf(agent);
  if (!agent.files.fileExistsAtPath(file)) {
    answer.say("There is no file " + quotedPath(file) + " yet; it is sorted once it exists.");
    answer.hint("If yours is elsewhere, name it, then restart the agent:",
                "tarvel settings set " + settingName(kBookmarksFilenameKey) +
                    " PATH && tarvel agent stop && tarvel agent start");
    return;
  }
  const std::vector<Message> problems = control.problems();
  if (problems.empty()) {
    answer.say("Nothing is sorted yet: the first sort follows the next change of " + quotedPath(file) + ".");
    answer.hint("To see what it would do:", "tarvel preview");
    return;
  }
  answer.say("The first sort would fail:");
  for (const Message& problem : problems) {
    answer.say(problem.sentences.front());
    answer.hint(problem.sentences.back(), problem.command);
  }
}

/// The agent finds the initial backup by its name alone, so that must not be another file's.
FileStatus claimAgentBackup(const AgentContext& agent) {
  const std::string file = bookmarksFileOf(agent);
  return assignAgentBackup(agent.files, file, file);
}

int failEnabling(Answer& answer, const FileStatus& claimed, const AgentContext& agent) {
  return answer.fail(kExitFailed, {{"The backup " + quotedPath(agentBackupFile(agent.files)) +
                                        " is that of another file, and could not be moved aside.",
                                    reasonOf(claimed), kNothingChanged},
                                   {}});
}

int enable(Answer& answer, const AgentControl& control) {
  const FileStatus claimed = claimAgentBackup(control.agent);
  if (!claimed.ok()) return failEnabling(answer, claimed, control.agent);
  const ServiceAnswer enabled = control.service.enable(control.program);
  if (!enabled.isDone) return answer.fail(kExitFailed, {{printable(enabled.complaint), kNothingChanged}, {}});
  const bool wasWanted = isWanted(control.agent);
  // The agent reads it when it starts.
  if (!wasWanted && !storeWanted(control.agent, true)) {
    return answer.fail(kExitFailed, settingsNotWritten(control.agent));
  }
  const ServiceAnswer started = control.service.start(control.program);
  if (!started.isDone) return answer.fail(kExitFailed, {{printable(started.complaint)}, {}});
  const bool isUnchanged = wasWanted && !enabled.isChanged && !started.isChanged;
  answer.say(std::string("Automatic sorting is ") + (isUnchanged ? "already " : "") + "on.");
  answer.say("The agent is running" + processText(control.service) + ", and starts " +
             loginText(control.service.loginEntry()) + ".");
  answer["changed"] = !isUnchanged;
  setFields(answer, control);
  if (isUnchanged) return answer.end(0);
  if (!control.service.hasManager()) {
    answer.say("No user service manager answers here, so your desktop starts the agent.");
    answer.hint("Without a desktop, start it after each login:", "tarvel agent start");
  }
  sayWhatComes(answer, control);
  answer.hint("To turn it off again:", "tarvel agent disable");
  return answer.end(0);
}

/// What disabling came to.
struct Disabling {
  bool isChanged = false;
  Message complaint;
};

Disabling disableAgent(const AgentControl& control) {
  const bool wasWanted = isWanted(control.agent);
  if (wasWanted && !storeWanted(control.agent, false)) return {false, settingsNotWritten(control.agent)};
  const ServiceAnswer disabled = control.service.disable();
  const ServiceAnswer stopped = control.service.stop();
  for (const ServiceAnswer& one : {disabled, stopped}) {
    if (one.isDone) continue;
    return {true, {{"Automatic sorting is off from the agent's next start.", printable(one.complaint)}, {}}};
  }
  return {wasWanted || disabled.isChanged || stopped.isChanged, {}};
}

int disable(Answer& answer, const AgentControl& control) {
  const Disabling disabling = disableAgent(control);
  if (!disabling.complaint.sentences.empty()) return answer.fail(kExitFailed, disabling.complaint);
  answer["changed"] = disabling.isChanged;
  setFields(answer, control);
  answer.say(std::string("Automatic sorting is ") + (disabling.isChanged ? "" : "already ") + "off.");
  answer.say("The agent is not running, and does not start when you log in.");
  if (!disabling.isChanged) return answer.end(0);
  answer.say("Your bookmarks and settings stay as they are.");
  answer.hint("To turn it on again:", "tarvel agent enable");
  return answer.end(0);
}

int start(Answer& answer, const AgentControl& control) {
  if (!isWanted(control.agent)) {
    return answer.fail(kExitFailed, {{"Automatic sorting is off, so the agent would exit right after starting.",
                                      kNothingChanged, "To turn it on:"},
                                     "tarvel agent enable"});
  }
  const ServiceAnswer started = control.service.start(control.program);
  if (!started.isDone) return answer.fail(kExitFailed, {{printable(started.complaint)}, {}});
  answer["changed"] = started.isChanged;
  setFields(answer, control);
  answer.say((started.isChanged ? "The agent is running" : "The agent is already running") +
             processText(control.service) + ".");
  if (control.service.loginEntry().by == LoginStart::kNone) {
    answer.hint("To start it whenever you log in:", "tarvel agent enable");
  }
  return answer.end(0);
}

int stop(Answer& answer, const AgentControl& control) {
  const ServiceAnswer stopped = control.service.stop();
  if (!stopped.isDone) return answer.fail(kExitFailed, {{printable(stopped.complaint)}, {}});
  answer["changed"] = stopped.isChanged;
  setFields(answer, control);
  answer.say(stopped.isChanged ? "The agent has stopped." : "The agent is not running.");
  if (control.service.loginEntry().by != LoginStart::kNone) {
    answer.say("It starts again when you next log in.");
    answer.hint("To turn automatic sorting off for good:", "tarvel agent disable");
  }
  return answer.end(0);
}

int showState(Answer& answer, const AgentControl& control) {
  const LoginEntry entry = control.service.loginEntry();
  const bool isRunning = control.service.runningAgent().has_value();
  const bool wanted = isWanted(control.agent);
  setFields(answer, control);
  answer.say(std::string("Automatic sorting is ") + (wanted ? "on." : "off."));
  answer.say("The agent is " + (isRunning ? "running" + processText(control.service) : "not running") +
             ", and starts " + loginText(entry) + (entry.file.empty() ? "" : " (" + quotedPath(entry.file) + ")") +
             ".");
  if (wanted) {
    answer.hint(isRunning ? "To see its settings and the last error:" : "To see why it does not run:", "tarvel status");
  } else {
    answer.hint("To turn it on:", "tarvel agent enable");
  }
  return answer.end(wanted && !isRunning ? kExitNeedsAttention : 0);
}

}  // namespace

int runAgent(const AgentControl& control, const CommandLine& line) {
  Answer answer(line.name, line.output);
  switch (line.agentAction) {
    case AgentAction::kEnable:
      return enable(answer, control);
    case AgentAction::kDisable:
      return disable(answer, control);
    case AgentAction::kStart:
      return start(answer, control);
    case AgentAction::kStop:
      return stop(answer, control);
    default:
      return showState(answer, control);
  }
}

std::string disableAutomaticSorting(const AgentControl& control) {
  return joinedSentences(disableAgent(control).complaint.sentences);
}

}  // namespace tarvel
