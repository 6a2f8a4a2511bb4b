#pragma once

#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tarvel {

struct CommandLine;

/// Adds an option or an argument that takes a path, which may not be empty. Every path comes in this way.
CLI::Option* addPath(CLI::App& command, const std::string& name, std::string& path, const std::string& help);

/// Adds --no-settings.
void addNoSettings(CLI::App& command, CommandLine& line);

/// Adds FILE, the bookmarks file, and --no-settings.
void addBookmarksFile(CLI::App& command, CommandLine& line);

}  // namespace tarvel
