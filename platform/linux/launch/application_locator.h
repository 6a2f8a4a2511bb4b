#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/base/program_command.h"
#include "platform/property_list_serialization.h"

// Internal to platform/linux.
namespace tarvel {

/// The command that launches `path`: an executable file itself; a desktop file's command; the executable named by a
/// bundle's Info.plist. None if there is nothing to execute.
[[nodiscard]] std::optional<ProgramCommand> commandForApplication(PropertyListSerialization& propertyLists,
                                                                  const std::string& path);

/// The desktop file of that name in the user's or the system's applications folders. Empty if there is none.
[[nodiscard]] std::string desktopFileWithIdentifier(std::string_view identifier);

}  // namespace tarvel
