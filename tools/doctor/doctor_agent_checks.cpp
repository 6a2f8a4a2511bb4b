// tarvel doctor: the agent and its settings.

#include <algorithm>

#include "agent/helper_errors.h"
#include "platform/path_components.h"
#include "settings/preference_keys.h"
#include "tools/agent/reported_error.h"
#include "tools/agent/settings_table.h"
#include "tools/command_line/command_settings.h"
#include "tools/doctor/doctor.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

constexpr const char* kRestart = "tarvel agent stop && tarvel agent start";
/// Watches that the agent may need: one for each folder on the path, and for the targets of links.
constexpr std::uint64_t kNeededWatches = 32;
constexpr unsigned kForOthers = 077;

bool isWanted(const DoctorContext& context) { return isSettingOn(context.agent, kAutoSortModeKey); }

/// Whether titles are ordered by a language's own rules.
bool isLanguage(const std::string& locale) {
  return !locale.empty() && locale != "POSIX" && locale != "C" && !locale.starts_with("C.");
}

std::string orNone(const std::string& language) { return language.empty() ? "none" : printable(language); }

/// A problem with a limit; none when enough is left, or the limit is unknown.
std::optional<Finding> exhausted(const std::optional<std::uint64_t>& most, const std::optional<std::uint64_t>& used,
                                 std::uint64_t needed, const std::string& what, const std::string& limit) {
  if (!most || !used || *used + needed <= *most) return std::nullopt;
  return problem("watches",
                 "Your programs use " + std::to_string(*used) + " of " + std::to_string(*most) + " " + what +
                     ", which leaves too few for the agent.",
                 "Raise the limit, as root:", "sysctl fs.inotify." + limit + "=" + std::to_string(*most * 2));
}

}  // namespace

Findings checkSettingsFile(const DoctorContext& context) {
  constexpr const char* kCheck = "settings-file";
  const std::string path = context.agent.settingsPath;
  const PathFacts facts = context.probe.path(path);
  if (facts.kind == PathKind::kMissing) return {fine(kCheck, "There are no settings; the defaults apply.")};
  if (facts.kind != PathKind::kFile || !facts.isReadable) {
    return {problem(kCheck, "The settings " + quotedPath(path) + " cannot be read, so the defaults apply.",
                    "Give yourself permission:", "chmod u+rw " + shellWord(path))};
  }
  const FileReading reading = context.platform.fileManager.contentsAtPath(path);
  const PropertyListReading list = context.platform.propertyLists.propertyListFromData(reading.data);
  if (!reading.status.ok() || !list.list.root.dictionary()) {
    return {problem(kCheck, "The settings " + quotedPath(path) + " are corrupt, so the defaults apply.",
                    "Set your choices again; the old file is kept beside the new one. To see which there are:",
                    "tarvel settings list")};
  }
  if (!facts.isOwn || (facts.mode & kForOthers) != 0) {
    return {note(kCheck, "The settings " + quotedPath(path) + " can be read by other users.",
                 "They hold nothing secret. To make them private:", "chmod 600 " + shellWord(path))};
  }
  return {fine(kCheck, "The settings can be read, and only by you.")};
}

Findings checkSettingsValues(const DoctorContext& context) {
  Findings findings;
  for (const Setting& setting : settingsTable()) {
    const SettingState state = stateOf(setting, context.agent.preferences, context.agent.files);
    if (!state.isStored || state.isUsed) continue;
    const std::string name = settingName(setting.key);
    const std::string text = name + " is set to " + quotedText(state.storedText) + ", which cannot be used; " +
                             printable(state.inForce) + " is used instead.";
    findings.push_back(
        isSettable(setting)
            ? problem("settings-values", text, "To return to the default:", "tarvel settings unset " + name)
            : problem("settings-values", text, "Tarvel writes this setting itself, and will replace it."));
  }
  if (findings.empty()) findings.push_back(fine("settings-values", "Every setting can be used."));
  return findings;
}

Findings checkWatches(const DoctorContext& context) {
  constexpr const char* kCheck = "watches";
  const WatchFacts facts = context.probe.watches();
  if (!facts.mostWatches) return {note(kCheck, "The limit on inotify watches is unknown here.")};
  // A running agent has what it needs.
  if (context.service.runningAgent()) return {fine(kCheck, "The agent has the inotify watches that it needs.")};
  Findings findings;
  if (auto few = exhausted(facts.mostWatches, facts.usedWatches, kNeededWatches, "watches", "max_user_watches"))
    findings.push_back(std::move(*few));
  if (auto few = exhausted(facts.mostInstances, facts.usedInstances, 1, "queues of file events", "max_user_instances"))
    findings.push_back(std::move(*few));
  if (findings.empty()) findings.push_back(fine(kCheck, "Enough inotify watches are free."));
  return findings;
}

Findings checkError(const DoctorContext& context) {
  constexpr const char* kCheck = "error";
  const auto code = pendingCode(context.agent);
  if (!code) return {fine(kCheck, "No pending error.")};
  const std::string text =
      "Pending error " + std::to_string(*code) + ": " + printable(messageOfCode(context.agent, *code));
  if (*code == kHelperErrorUpdateFound) return {note(kCheck, text, "Once you have read this:", "tarvel report")};
  return {problem(kCheck, text, "Fix what it says, then start the agent again:", "tarvel agent start")};
}

Findings checkAgent(const DoctorContext& context) {
  constexpr const char* kCheck = "agent";
  Findings findings;
  if (context.agentProgram.empty() || !context.probe.path(context.agentProgram).isExecutable) {
    findings.push_back(problem(kCheck, "The agent is not installed with this command.",
                               "Install all of Tarvel: without the agent, only the command sorts."));
  }
  const bool runs = context.service.runningAgent().has_value();
  if (runs && isWanted(context)) {
    findings.push_back(fine(kCheck, "Automatic sorting is on, and the agent is running."));
  } else if (runs) {
    findings.push_back(
        note(kCheck, "Automatic sorting is off, but the agent is still running.", "To stop it:", "tarvel agent stop"));
  } else if (isWanted(context)) {
    findings.push_back(problem(kCheck, "Automatic sorting is on, but the agent is not running.",
                               "To start it:", "tarvel agent start"));
  } else {
    findings.push_back(note(kCheck, "Automatic sorting is off.", "To turn it on:", "tarvel agent enable"));
  }
  return findings;
}

Findings checkLogin(const DoctorContext& context) {
  constexpr const char* kCheck = "login";
  const LoginEntry entry = context.service.loginEntry();
  const std::string from = entry.file.empty() ? std::string() : " (" + quotedPath(entry.file) + ")";
  if (entry.by == LoginStart::kNone) {
    if (!isWanted(context)) return {};
    return {problem(kCheck, "The agent does not start when you log in.", "To have it started:", "tarvel agent enable")};
  }
  if (!isWanted(context)) {
    return {note(kCheck,
                 "The agent is started when you log in" + from + ", and exits at once, since automatic sorting is off.",
                 "To stop it from starting:", "tarvel agent disable")};
  }
  if (!entry.program.empty() && !context.probe.path(entry.program).isExecutable) {
    return {problem(kCheck,
                    "The program to start when you log in does not exist: " + quotedPath(entry.program) + from + ".",
                    "To start the installed one instead:", "tarvel agent enable")};
  }
  if (!entry.program.empty() && entry.program != context.agentProgram) {
    return {note(kCheck,
                 "Another agent than the one installed with this command starts when you log in: " +
                     quotedPath(entry.program) + from + ".",
                 "To start this one instead:", "tarvel agent enable")};
  }
  const bool isManager = entry.by == LoginStart::kServiceManager;
  return {fine(kCheck, std::string("The agent is started ") +
                           (isManager ? "when you log in, by your service manager" : "by your desktop") + from + ".")};
}

Findings checkSession(const DoctorContext& context) {
  Findings findings;
  findings.push_back(
      context.service.hasManager()
          ? fine("service-manager", "Your service manager answers.")
          : note("service-manager", "No user service manager answers, so nothing restarts the agent after a crash."));
  findings.push_back(context.probe.hasSessionBus()
                         ? fine("session-bus", "Your session bus answers, so errors can be shown as notifications.")
                         : note("session-bus", "No session bus answers, so errors are written to the log.",
                                "The last one is shown by:", "tarvel status"));
  if (context.probe.isSuperUser()) {
    findings.push_back(note("user", "You are root, so this is about root's own bookmarks and agent.",
                            "For your own, run it without sudo."));
  }
  return findings;
}

Findings checkVersion(const DoctorContext& context) {
  constexpr const char* kCheck = "version";
  const AgentProcessFacts process = context.probe.agentProcess();
  if (process.isProgramGone) {
    return {problem(kCheck, "The running agent was replaced by another version.", "To run the new one:", kRestart)};
  }
  if (!process.program.empty() && process.program != context.agentProgram) {
    return {note(kCheck,
                 "The running agent is not the one installed with this command: " + quotedPath(process.program) + ".",
                 "To run this command's agent:", kRestart)};
  }
  const auto installed = context.agent.bundle.stringForInfoDictionaryKey("CFBundleShortVersionString");
  if (installed && *installed != TARVEL_VERSION) {
    return {problem(kCheck, "The agent has version " + printable(*installed) + ", this command has " TARVEL_VERSION ".",
                    "Install the same version of both.")};
  }
  return {fine(kCheck, "Command and agent have version " TARVEL_VERSION ".")};
}

Findings checkUpdates(const DoctorContext& context) {
  constexpr const char* kCheck = "updates";
  if (!isSettingOn(context.agent, kAutomaticUpdateChecksKey)) return {fine(kCheck, "Update checks are off.")};
  const std::string checker = deletingLastPathComponent(context.agentProgram) + "/tarvel-update-check";
  if (!context.probe.path(checker).isExecutable) {
    return {
        problem(kCheck, "Update checks are on, but the program for them does not exist: " + quotedPath(checker) + ".",
                "Install all of Tarvel, or turn update checks off:", "tarvel settings unset enable-automatic-checks")};
  }
  return {fine(kCheck, "Update checks are on, if this build has a feed.")};
}

Findings checkLanguage(const DoctorContext& context) {
  constexpr const char* kCheck = "language";
  const std::string own = context.probe.orderLanguage();
  const AgentProcessFacts process = context.probe.agentProcess();
  if (!process.program.empty() && process.orderLanguage != own) {
    return {note(kCheck,
                 "The agent orders titles by the language “" + orNone(process.orderLanguage) + "”, this command by “" +
                     orNone(own) + "”, so a preview may differ from what the agent does.",
                 "Set the same LANG for both, then restart the agent:", kRestart)};
  }
  if (!isLanguage(own)) {
    return {fine(kCheck, "No language is set, so titles follow the rules for all languages. LANG sets yours.")};
  }
  return {fine(kCheck, "Titles are ordered by the language " + quotedText(own) + ".")};
}

}  // namespace tarvel
