#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/property_list_serialization.h"

// Internal to platform/linux.
namespace tarvel {

/// A program to be executed.
struct ProgramCommand {
  /// A path, or a name to be looked for where programs are.
  std::string program;
  /// With the program's own name in front.
  std::vector<std::string> arguments;
  /// Empty: the user's home.
  std::string workingFolder;
};

/// What launching `path` means: an executable file itself; the command of a desktop file; of a bundle the executable
/// that its information names. None when it names nothing that could be executed.
[[nodiscard]] std::optional<ProgramCommand> commandForApplication(PropertyListSerialization& propertyLists,
                                                                  const std::string& path);

/// The desktop file of that name among the user's applications and the system's. Empty when there is none.
[[nodiscard]] std::string desktopFileWithIdentifier(std::string_view identifier);

}  // namespace tarvel
