#pragma once

#include <string>
#include <vector>

// Internal to platform/linux.
namespace tarvel {

/// A program to execute.
struct ProgramCommand {
  /// An absolute path.
  std::string program;
  /// Including argv[0].
  std::vector<std::string> arguments;
  /// Empty: the home folder.
  std::string workingFolder;
};

/// Whether `path` is a regular file with execute permission. Execution can still fail.
[[nodiscard]] bool isExecutableFile(const std::string& path);

/// The program's start folder: the requested one, else the home folder, else the root, whichever can be entered first.
[[nodiscard]] std::string startingFolderOf(const ProgramCommand& command);

}  // namespace tarvel
