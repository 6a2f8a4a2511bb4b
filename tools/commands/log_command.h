#pragma once

#include "platform/log_reader.h"
#include "tools/command_line/command_line.h"

namespace tarvel {

/// tarvel agent log. Answers the exit status.
[[nodiscard]] int runLog(LogReader& reader, const CommandLine& line);

}  // namespace tarvel
