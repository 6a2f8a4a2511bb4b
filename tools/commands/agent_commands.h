#pragma once

#include "platform/notifier.h"
#include "platform/system_log.h"
#include "tools/agent/agent_context.h"
#include "tools/command_line/command_line.h"

namespace tarvel {

[[nodiscard]] int runSettings(const AgentContext& agent, const CommandLine& line);
[[nodiscard]] int runStatus(const AgentContext& agent, const CommandLine& line);

/// Shows and clears the pending error, at a terminal.
[[nodiscard]] int runReport(const AgentContext& agent, const CommandLine& line);
/// The same as the main application that the agent launches: as a notification, or in the log where those are not
/// shown. Silent when no error is pending.
[[nodiscard]] int runReportAsApplication(const AgentContext& agent, Notifier& notifier, SystemLog& systemLog);

}  // namespace tarvel
