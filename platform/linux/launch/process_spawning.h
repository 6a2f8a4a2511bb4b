#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/linux/base/program_command.h"

// Internal to platform/linux.
namespace tarvel {

/// Executes a program in its own session, with default signal handling, none of this process's descriptors, empty
/// input, and `output` (a descriptor; -1 for none) as its output. On return the program has been executed. None with
/// errno set on failure. The caller must reap the process.
[[nodiscard]] std::optional<pid_t> spawnDetached(const ProgramCommand& command, int output = -1);

}  // namespace tarvel
