#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/agent_service.h"
#include "tools/agent/agent_context.h"
#include "tools/command_line/command_line.h"

namespace tarvel {

/// What the commands that turn the agent on and off reach. All of it is borrowed.
struct AgentControl {
  const AgentContext& around;
  AgentService& service;
  /// The agent that belongs to this command: its full path; empty where none was installed.
  std::string program;
  /// Why the next sort would fail, and what to do about it, each in whole sentences; empty when it would not.
  std::function<std::vector<std::string>()> doubts = [] { return std::vector<std::string>(); };
};

/// tarvel agent. Answers the exit status.
[[nodiscard]] int runAgent(const AgentControl& control, const CommandLine& line);

}  // namespace tarvel
