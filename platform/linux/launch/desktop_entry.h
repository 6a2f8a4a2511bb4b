#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/base/program_command.h"

// Desktop files, by the freedesktop.org conventions. Internal to platform/linux.
namespace tarvel {

/// The command of a desktop file. None if the file is unreadable, hidden or not an application, or if its program or
/// TryExec is missing.
///
/// Terminal is ignored, as no terminal is available. DBusActivatable is ignored: callers with an identifier try the bus
/// first, and callers with a path need the Exec line.
[[nodiscard]] std::optional<ProgramCommand> commandOfDesktopFile(const std::string& path);

/// Splits an Exec line into words: quotes resolved, field codes removed, as no file is opened. Empty if the quoting is
/// malformed.
[[nodiscard]] std::vector<std::string> wordsOfExecLine(std::string_view line);

}  // namespace tarvel
