#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/agent_service.h"
#include "tools/agent/agent_context.h"
#include "tools/command_line/command_line.h"
#include "tools/terminal/message.h"

namespace tarvel {

/// What the commands that turn the agent on and off work on. All of it is borrowed.
struct AgentControl {
  const AgentContext& agent;
  AgentService& service;
  /// The full path of the agent that was installed with this command; empty where none was.
  std::string program;
  /// Why the next sort would fail, and what to do about it; empty when it would not.
  std::function<std::vector<Message>()> problems = [] { return std::vector<Message>(); };
};

/// tarvel agent. Returns the exit status.
[[nodiscard]] int runAgent(const AgentControl& control, const CommandLine& line);

/// Turns automatic sorting off, as "agent disable" does. Returns what went wrong; empty for nothing.
[[nodiscard]] std::string disableAutomaticSorting(const AgentControl& control);

}  // namespace tarvel
