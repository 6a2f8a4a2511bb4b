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
  /// An absolute path.
  std::string program;
  /// With the program's own name in front.
  std::vector<std::string> arguments;
  /// Empty: the user's home.
  std::string workingFolder;
};

/// Whether `path` is a file that this user may execute; whether that works, only executing it shows.
[[nodiscard]] bool isExecutableFile(const std::string& path);

/// The folder for the program to start in: the one it asks for, else the user's home, else the root folder, each if it
/// can be entered.
[[nodiscard]] std::string startingFolderOf(const ProgramCommand& command);

/// What launching `path` means: an executable file itself; the command of a desktop file; of a bundle the executable
/// that its information names. None when it names nothing that could be executed.
[[nodiscard]] std::optional<ProgramCommand> commandForApplication(PropertyListSerialization& propertyLists,
                                                                  const std::string& path);

/// The desktop file of that name among the user's applications and the system's. Empty when there is none.
[[nodiscard]] std::string desktopFileWithIdentifier(std::string_view identifier);

}  // namespace tarvel
