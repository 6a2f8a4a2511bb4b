#pragma once

#include "tools/browsers/browser_setup.h"
#include "tools/command_line/command_line.h"
#include "tools/commands/agent_commands.h"

namespace tarvel {

/// tarvel browser. Returns the exit status.
[[nodiscard]] int runBrowser(const AgentContext& agent, const BrowserSurroundings& around, const CommandLine& line);

}  // namespace tarvel
