#pragma once

#include "tools/command_line/command_line.h"

namespace tarvel {

struct ParsedCommandLine {
  CommandLine line;
  /// Set when there is nothing to run: help was shown, or the usage was wrong and has been explained.
  bool isDone = false;
  int exitStatus = 0;
};

/// Reads the arguments, program name first. Writes help to standard output and usage errors to the error output, or as
/// JSON where that was asked for.
[[nodiscard]] ParsedCommandLine parseCommandLine(int argc, const char* const* argv);

}  // namespace tarvel
