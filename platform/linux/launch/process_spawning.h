#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/linux/base/program_command.h"

// Internal to platform/linux.
namespace tarvel {

/// Executes a program in a session of its own: signals as a new process has them, none of this process's descriptors,
/// nothing to read, and `output` (a descriptor; -1 for none) to write to. None, with errno set, when it could not be
/// executed; otherwise it has been by the time this returns. Somebody has to wait for the process.
[[nodiscard]] std::optional<pid_t> spawnDetached(const ProgramCommand& command, int output = -1);

}  // namespace tarvel
