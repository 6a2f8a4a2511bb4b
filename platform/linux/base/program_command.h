#pragma once

#include <string>
#include <vector>

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

}  // namespace tarvel
