#pragma once

#include <string>
#include <vector>

#include "platform/agent_service.h"
#include "platform/system_probe.h"
#include "tools/agent_commands.h"

namespace tarvel {

enum class FindingState { kFine, kNote, kProblem };

/// What one check found.
struct Finding {
  /// For programs; it stays the same. One check may find several things.
  const char* check;
  FindingState state;
  /// One sentence.
  std::string text;
  /// What to do next; empty where nothing needs to be done.
  std::string advice;
};

/// What the checks look at. All of it is borrowed; nothing of it is changed.
struct Patient {
  const Platform& platform;
  const AgentSurroundings& agent;
  AgentService& service;
  SystemProbe& probe;
  /// The agent that belongs to this command; empty where none was installed.
  std::string agentProgram;
  /// Seconds since 2001.
  double now;
};

using Findings = std::vector<Finding>;

// The bookmarks file and what is around it.
[[nodiscard]] Findings checkBookmarksFile(const Patient& patient);
[[nodiscard]] Findings checkContents(const Patient& patient);
[[nodiscard]] Findings checkKeptSaves(const Patient& patient);
[[nodiscard]] Findings checkFolder(const Patient& patient);
[[nodiscard]] Findings checkFileSystem(const Patient& patient);
[[nodiscard]] Findings checkLock(const Patient& patient);
[[nodiscard]] Findings checkBackup(const Patient& patient);

// The agent and what it goes by.
[[nodiscard]] Findings checkSettingsFile(const Patient& patient);
[[nodiscard]] Findings checkSettingsValues(const Patient& patient);
[[nodiscard]] Findings checkWatches(const Patient& patient);
[[nodiscard]] Findings checkError(const Patient& patient);
[[nodiscard]] Findings checkAgent(const Patient& patient);
[[nodiscard]] Findings checkLogin(const Patient& patient);
[[nodiscard]] Findings checkSession(const Patient& patient);
[[nodiscard]] Findings checkVersion(const Patient& patient);
[[nodiscard]] Findings checkUpdates(const Patient& patient);
[[nodiscard]] Findings checkLanguage(const Patient& patient);

/// All of them, in the order in which they are shown.
[[nodiscard]] Findings examine(const Patient& patient);

/// Why a sort would fail now, with what to do about it; empty when it would not.
[[nodiscard]] std::vector<std::string> doubtsAboutSorting(const Patient& patient);

/// tarvel doctor. Answers the exit status.
[[nodiscard]] int runDoctor(const Patient& patient, const CommandLine& line);

// For the checks.

[[nodiscard]] inline Finding fine(const char* check, std::string text) {
  return {check, FindingState::kFine, std::move(text), {}};
}
[[nodiscard]] inline Finding note(const char* check, std::string text, std::string advice = {}) {
  return {check, FindingState::kNote, std::move(text), std::move(advice)};
}
[[nodiscard]] inline Finding problem(const char* check, std::string text, std::string advice) {
  return {check, FindingState::kProblem, std::move(text), std::move(advice)};
}
/// In quotes, safe to show.
[[nodiscard]] std::string named(const std::string& path);
/// The value that the agent goes by, as `tarvel settings get` tells it.
[[nodiscard]] std::string settingInForce(const Patient& patient, const char* key);
[[nodiscard]] std::string bookmarksFileOf(const Patient& patient);

}  // namespace tarvel
