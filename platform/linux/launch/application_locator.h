#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/base/program_command.h"
#include "platform/property_list_serialization.h"

// Internal to platform/linux.
namespace tarvel {

/// What launching `path` means: an executable file itself; the command of a desktop file; of a bundle the executable
/// that its information names. None when it names nothing that could be executed.
[[nodiscard]] std::optional<ProgramCommand> commandForApplication(PropertyListSerialization& propertyLists,
                                                                  const std::string& path);

/// The desktop file of that name among the user's applications and the system's. Empty when there is none.
[[nodiscard]] std::string desktopFileWithIdentifier(std::string_view identifier);

}  // namespace tarvel
