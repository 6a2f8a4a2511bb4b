#pragma once

#include "tools/agent_commands.h"
#include "tools/browsers/browser_setup.h"
#include "tools/command_line.h"

namespace tarvel {

/// tarvel browser. Answers the exit status.
[[nodiscard]] int runBrowser(const AgentSurroundings& agent, const BrowserSurroundings& around,
                             const CommandLine& line);

}  // namespace tarvel
