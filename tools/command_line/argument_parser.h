#pragma once

#include <string>
#include <vector>

#include "tools/command_line/command_line.h"

namespace tarvel {

struct ParsedCommandLine {
  CommandLine line;
  /// Set when there is nothing to run: help was shown, or the usage was wrong and has been explained.
  bool isDone = false;
  int exitStatus = 0;
};

/// Reads the arguments, program name first. Writes help to standard output and complaints to the error output.
[[nodiscard]] ParsedCommandLine parseCommandLine(int argc, const char* const* argv);

/// The known option that is spelled most like `given`; empty when none is close.
[[nodiscard]] std::string closestOption(const std::string& given, const std::vector<std::string>& known);

}  // namespace tarvel
