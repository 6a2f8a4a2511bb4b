// tarvel doctor: the agent and what it goes by.

#include <algorithm>

#include "agent/helper_errors.h"
#include "platform/path_components.h"
#include "settings/preference_keys.h"
#include "tools/agent/reported_error.h"
#include "tools/agent/settings_table.h"
#include "tools/doctor/doctor.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

constexpr const char* kRestart = "tarvel agent stop, then tarvel agent start";
/// Watches that the agent may need: one for each folder on the way, and for what links lead to.
constexpr std::uint64_t kNeededWatches = 32;
constexpr unsigned kForOthers = 077;

bool isWanted(const DoctorContext& context) { return settingInForce(context, kAutoSortModeKey) == "yes"; }

/// Whether titles are ordered by a language's own rules.
bool isLanguage(const std::string& locale) {
  return !locale.empty() && locale != "POSIX" && locale != "C" && !locale.starts_with("C.");
}

std::string orNone(const std::string& language) { return language.empty() ? "none" : printable(language); }

/// A limit that leaves too little; none when it leaves enough, or nobody can tell.
std::optional<Finding> exhausted(const std::optional<std::uint64_t>& most, const std::optional<std::uint64_t>& used,
                                 std::uint64_t needed, const std::string& what, const std::string& limit) {
  if (!most || !used || *used + needed <= *most) return std::nullopt;
  return problem("watches",
                 "Your programs use " + std::to_string(*used) + " of " + std::to_string(*most) + " " + what +
                     ", which leaves too few for the agent.",
                 "Raise the limit, as root: sysctl fs.inotify." + limit + "=" + std::to_string(*most * 2));
}

}  // namespace

Findings checkSettingsFile(const DoctorContext& context) {
  constexpr const char* kCheck = "settings-file";
  const std::string path = context.agent.settingsPath;
  const PathFacts facts = context.probe.path(path);
  if (facts.kind == PathKind::kMissing) return {fine(kCheck, "There are no settings; the defaults hold.")};
  if (facts.kind != PathKind::kFile || !facts.isReadable) {
    return {problem(kCheck, "The settings " + named(path) + " cannot be read, so the defaults hold.",
                    "Give yourself the rights: chmod u+rw " + shellWord(path))};
  }
  const FileReading reading = context.platform.fileManager.contentsAtPath(path);
  const PropertyListReading list = context.platform.propertyLists.propertyListFromData(reading.data);
  if (!reading.status.ok() || !list.list.root.dictionary()) {
    return {problem(kCheck, "The settings " + named(path) + " are corrupt, so the defaults hold.",
                    "Set what you want anew, with tarvel settings; the old file is kept beside the new one.")};
  }
  if (!facts.isOwn || (facts.mode & kForOthers) != 0) {
    return {note(kCheck, "The settings " + named(path) + " are not yours alone.",
                 "They hold nothing secret; to keep others out: chmod 600 " + shellWord(path))};
  }
  return {fine(kCheck, "The settings can be read, and are yours alone.")};
}

Findings checkSettingsValues(const DoctorContext& context) {
  Findings findings;
  for (const Setting& setting : settingsTable()) {
    const SettingState state = stateOf(setting, context.agent.preferences, context.agent.files);
    if (!state.isStored || state.isUsed) continue;
    findings.push_back(problem("settings-values",
                               std::string(setting.key) + " is set to “" + printable(state.storedText) +
                                   "”, which cannot be used; " + printable(state.inForce) + " holds instead.",
                               isSettable(setting) ? std::string("tarvel settings unset ") + setting.key
                                                   : "It is kept by Tarvel itself, and will be replaced."));
  }
  if (findings.empty()) findings.push_back(fine("settings-values", "Every setting can be used."));
  return findings;
}

Findings checkWatches(const DoctorContext& context) {
  constexpr const char* kCheck = "watches";
  const WatchFacts facts = context.probe.watches();
  if (!facts.mostWatches) return {note(kCheck, "How many folders may be watched cannot be told here.")};
  // An agent that runs has what it needs.
  if (context.service.runningAgent()) return {fine(kCheck, "The agent was given what it needs to watch folders.")};
  Findings findings;
  if (auto few = exhausted(facts.mostWatches, facts.usedWatches, kNeededWatches, "watches", "max_user_watches"))
    findings.push_back(std::move(*few));
  if (auto few = exhausted(facts.mostInstances, facts.usedInstances, 1, "queues of file events", "max_user_instances"))
    findings.push_back(std::move(*few));
  if (findings.empty()) findings.push_back(fine(kCheck, "There are watches enough for the agent."));
  return findings;
}

Findings checkError(const DoctorContext& context) {
  constexpr const char* kCheck = "error";
  const auto code = pendingCode(context.agent);
  if (!code) return {fine(kCheck, "No error waits.")};
  const std::string text =
      "Error " + std::to_string(*code) + " waits: " + printable(messageOfCode(context.agent, *code));
  if (*code == kHelperErrorUpdateFound) return {note(kCheck, text, "Once you have read this: tarvel report")};
  return {problem(kCheck, text, "Mend what it says, then: tarvel agent start")};
}

Findings checkAgent(const DoctorContext& context) {
  constexpr const char* kCheck = "agent";
  Findings findings;
  if (context.agentProgram.empty() || !context.probe.path(context.agentProgram).isExecutable) {
    findings.push_back(problem(kCheck, "The agent that belongs to this command is not installed.",
                               "Install Tarvel as a whole: the command alone sorts, and nothing sorts by itself."));
  }
  const bool runs = context.service.runningAgent().has_value();
  if (runs && isWanted(context)) {
    findings.push_back(fine(kCheck, "The agent runs, and sorting by itself is on."));
  } else if (runs) {
    findings.push_back(note(kCheck, "The agent runs, and sorting by itself was turned off meanwhile.",
                            "To have that count: tarvel agent stop"));
  } else if (isWanted(context)) {
    findings.push_back(problem(kCheck, "Sorting by itself is on, and the agent does not run.", "tarvel agent start"));
  } else {
    findings.push_back(note(kCheck, "Sorting by itself is off.", "To turn it on: tarvel agent enable"));
  }
  return findings;
}

Findings checkLogin(const DoctorContext& context) {
  constexpr const char* kCheck = "login";
  const LoginEntry entry = context.service.loginEntry();
  const std::string from = entry.file.empty() ? std::string() : " (" + named(entry.file) + ")";
  if (entry.by == LoginStart::kNone) {
    if (!isWanted(context)) return {};
    return {problem(kCheck, "Nobody starts the agent when you log in.", "tarvel agent enable")};
  }
  if (!isWanted(context)) {
    return {note(kCheck, "The agent is started when you log in" + from + ", and ends at once, as sorting is off.",
                 "To have it sort: tarvel agent enable. To have it no longer started: tarvel agent disable")};
  }
  if (!entry.program.empty() && !context.probe.path(entry.program).isExecutable) {
    return {problem(kCheck, "What is to be started when you log in is not there: " + named(entry.program) + from + ".",
                    "tarvel agent enable")};
  }
  if (!entry.program.empty() && entry.program != context.agentProgram) {
    return {note(kCheck,
                 "Another agent than this command's is started when you log in: " + named(entry.program) + from + ".",
                 "To have this one started: tarvel agent enable")};
  }
  const bool isManager = entry.by == LoginStart::kServiceManager;
  return {fine(kCheck, std::string("The agent is started ") +
                           (isManager ? "when you log in, by your service manager" : "by your desktop") + from + ".")};
}

Findings checkSession(const DoctorContext& context) {
  Findings findings;
  findings.push_back(context.service.hasManager()
                         ? fine("service-manager", "Your service manager answers.")
                         : note("service-manager",
                                "No service manager of yours answers; the desktop would start the agent, and nobody "
                                "starts it again should it crash."));
  findings.push_back(context.probe.hasSessionBus()
                         ? fine("session-bus", "Your session bus answers, so errors can be shown as notifications.")
                         : note("session-bus", "No session bus answers: errors are written to the log.",
                                "tarvel status tells of them, too."));
  if (context.probe.isSuperUser()) {
    findings.push_back(note("user", "You are root: all this is about root's own bookmarks and agent.",
                            "For yours, run it without sudo."));
  }
  return findings;
}

Findings checkVersion(const DoctorContext& context) {
  constexpr const char* kCheck = "version";
  const AgentProcessFacts process = context.probe.agentProcess();
  if (process.isProgramGone) {
    return {problem(kCheck, "The agent that runs was replaced by another version since.", kRestart)};
  }
  if (!process.program.empty() && process.program != context.agentProgram) {
    return {note(kCheck, "The agent that runs is another than this command's: " + named(process.program) + ".",
                 std::string("To have this command's run: ") + kRestart)};
  }
  const auto installed = context.agent.bundle.stringForInfoDictionaryKey("CFBundleShortVersionString");
  if (installed && *installed != TARVEL_VERSION) {
    return {problem(kCheck,
                    "The agent is of version " + printable(*installed) + ", this command of " TARVEL_VERSION ".",
                    "Install one version of both.")};
  }
  return {fine(kCheck, "Command and agent are of version " TARVEL_VERSION ".")};
}

Findings checkUpdates(const DoctorContext& context) {
  constexpr const char* kCheck = "updates";
  if (settingInForce(context, "SUEnableAutomaticChecks") != "yes") return {fine(kCheck, "Updates are not looked for.")};
  const std::string checker = deletingLastPathComponent(context.agentProgram) + "/tarvel-update-check";
  if (!context.probe.path(checker).isExecutable) {
    return {problem(kCheck,
                    "Updates are to be looked for, and what looks for them is not there: " + named(checker) + ".",
                    "Install Tarvel as a whole, or: tarvel settings unset SUEnableAutomaticChecks")};
  }
  return {fine(kCheck, "Updates are looked for, where this build knows a feed.")};
}

Findings checkLanguage(const DoctorContext& context) {
  constexpr const char* kCheck = "language";
  const std::string own = context.probe.orderLanguage();
  const AgentProcessFacts process = context.probe.agentProcess();
  if (!process.program.empty() && process.orderLanguage != own) {
    return {note(kCheck,
                 "The agent orders titles by the language “" + orNone(process.orderLanguage) + "”, this command by “" +
                     orNone(own) + "”: a preview may differ from what the agent does.",
                 std::string("Once LANG is the same for both: ") + kRestart)};
  }
  if (!isLanguage(own)) {
    return {fine(kCheck, "No language is set, so titles are ordered by rules for all; LANG would set yours.")};
  }
  return {fine(kCheck, "Titles are ordered by the language “" + printable(own) + "”.")};
}

}  // namespace tarvel
