#pragma once

#include <string>
#include <vector>

#include "platform/agent_service.h"
#include "platform/platform.h"
#include "platform/system_probe.h"
#include "tools/agent/agent_context.h"
#include "tools/command_line/command_line.h"
#include "tools/terminal/message.h"

namespace tarvel {

enum class FindingState { kFine, kNote, kProblem };

/// What one check found.
struct Finding {
  /// For programs; names do not change. One check may have several findings.
  const char* check;
  FindingState state;
  /// One sentence.
  std::string text;
  /// What to do next, or what `command` is for; empty when nothing has to be done, or the command says it all.
  std::string advice;
  /// To paste; empty for none.
  std::string command;
};

/// What the checks examine. All of it is borrowed; nothing is changed.
struct DoctorContext {
  const Platform& platform;
  const AgentContext& agent;
  AgentService& service;
  SystemProbe& probe;
  /// The agent that was installed with this command; empty where none was.
  std::string agentProgram;
  /// Seconds since 2001.
  double now;
};

using Findings = std::vector<Finding>;

// The bookmarks file and what is around it.
[[nodiscard]] Findings checkBookmarksFile(const DoctorContext& context);
[[nodiscard]] Findings checkContents(const DoctorContext& context);
[[nodiscard]] Findings checkKeptSaves(const DoctorContext& context);
[[nodiscard]] Findings checkFolder(const DoctorContext& context);
[[nodiscard]] Findings checkFileSystem(const DoctorContext& context);
[[nodiscard]] Findings checkLock(const DoctorContext& context);
[[nodiscard]] Findings checkBackup(const DoctorContext& context);

// The agent and its settings.
[[nodiscard]] Findings checkSettingsFile(const DoctorContext& context);
[[nodiscard]] Findings checkSettingsValues(const DoctorContext& context);
[[nodiscard]] Findings checkWatches(const DoctorContext& context);
[[nodiscard]] Findings checkError(const DoctorContext& context);
[[nodiscard]] Findings checkAgent(const DoctorContext& context);
[[nodiscard]] Findings checkLogin(const DoctorContext& context);
[[nodiscard]] Findings checkSession(const DoctorContext& context);
[[nodiscard]] Findings checkVersion(const DoctorContext& context);
[[nodiscard]] Findings checkUpdates(const DoctorContext& context);
[[nodiscard]] Findings checkLanguage(const DoctorContext& context);
[[nodiscard]] Findings checkBrowsers(const DoctorContext& context);

/// All of them, in the order in which they are shown.
[[nodiscard]] Findings examine(const DoctorContext& context);

/// Why a sort would fail now, and what to do about it; empty when it would not.
[[nodiscard]] std::vector<Message> problemsOfSorting(const DoctorContext& context);

/// tarvel doctor. Returns the exit status.
[[nodiscard]] int runDoctor(const DoctorContext& context, const CommandLine& line);

// For the checks.

[[nodiscard]] inline Finding fine(const char* check, std::string text) {
  return {check, FindingState::kFine, std::move(text), {}, {}};
}
[[nodiscard]] inline Finding note(const char* check, std::string text, std::string advice = {},
                                  std::string command = {}) {
  return {check, FindingState::kNote, std::move(text), std::move(advice), std::move(command)};
}
[[nodiscard]] inline Finding problem(const char* check, std::string text, std::string advice,
                                     std::string command = {}) {
  return {check, FindingState::kProblem, std::move(text), std::move(advice), std::move(command)};
}

}  // namespace tarvel
