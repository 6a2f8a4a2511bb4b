#pragma once

#include <CLI/CLI.hpp>

#include "tools/command_line/command_line.h"

namespace tarvel {

/// The commands that turn the agent on and off. `line` outlives the parsing.
void addAgentControl(CLI::App& app, CommandLine& line);

}  // namespace tarvel
