#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/notifier.h"
#include "platform/platform.h"
#include "platform/preferences_store.h"
#include "tools/command_line.h"

namespace tarvel {

/// What the commands around the agent reach. All of it is borrowed.
struct AgentSurroundings {
  PreferencesStore& preferences;
  FileManager& files;
  /// Of the messages, which come in the user's language.
  Bundle& bundle;
  /// Where the settings are kept, for messages.
  std::string settingsPath;
  /// The process that is the agent of this user; none when it does not run, 0 when it cannot be told which it is.
  std::function<std::optional<int>()> runningAgent;
};

// What report leaves for status: the last code that was told, an integer, and when that was, a date.
inline constexpr const char* kReportedErrorKey = "LastReportedError";
inline constexpr const char* kReportedErrorTimeKey = "LastReportedErrorTime";

[[nodiscard]] int runSettings(const AgentSurroundings& agent, const CommandLine& line);
[[nodiscard]] int runStatus(const AgentSurroundings& agent, const CommandLine& line);

/// Shows the error that waits, which then waits no more. For a person at a terminal.
[[nodiscard]] int runReport(const AgentSurroundings& agent, const CommandLine& line);
/// The same as the main application that the agent launches: as a notification, or in the log when nobody shows those.
/// Silent when nothing waits.
[[nodiscard]] int runReportAsApplication(const AgentSurroundings& agent, Notifier& notifier, SystemLog& systemLog);

/// Whether an agent runs that sorts the file at `file`, by whatever links either path leads there.
[[nodiscard]] bool isSortedByAgent(const AgentSurroundings& agent, const std::string& file);

/// The code that waits to be shown; none when there is none.
[[nodiscard]] std::optional<std::int32_t> pendingCode(const AgentSurroundings& agent);
/// What a code of the agent's means, in whole sentences and in the user's language as far as it was translated.
[[nodiscard]] std::string messageOfCode(const AgentSurroundings& agent, std::int32_t code);

}  // namespace tarvel
