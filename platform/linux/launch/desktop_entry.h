#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/base/program_command.h"

// Desktop files, by the freedesktop.org conventions. Internal to platform/linux.
namespace tarvel {

/// What a desktop file executes. None when it cannot be read, is no application, is hidden, or it or what it needs is
/// not there.
///
/// Whether it wants a terminal is not looked at: there is none to be had. Nor whether the bus could start it as well:
/// whoever has a name for the bus asks the bus first, and here a line to execute has to be there.
[[nodiscard]] std::optional<ProgramCommand> commandOfDesktopFile(const std::string& path);

/// The words of an Exec line: quotes undone, field codes left out, as there is nothing to open. Empty when the quoting
/// is broken.
[[nodiscard]] std::vector<std::string> wordsOfExecLine(std::string_view line);

}  // namespace tarvel
