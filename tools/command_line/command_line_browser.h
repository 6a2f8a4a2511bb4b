#pragma once

#include <CLI/CLI.hpp>

#include "tools/command_line/command_line.h"

namespace tarvel {

/// The command that sets browsers up. `line` outlives the parsing.
void addBrowserCommand(CLI::App& app, CommandLine& line);

}  // namespace tarvel
