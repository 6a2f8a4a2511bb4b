#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <string>

namespace tarvel {

/// What "tarvel help" is for, which the parser does not know.
inline constexpr const char* kHelpOfHelp = "Show the help of a command";

/// The help of a command: usage, options, examples and its exit statuses, in lines of at most `columns` characters.
/// `name` is the words that lead to the command, empty for the program itself.
[[nodiscard]] std::string helpText(const CLI::App& command, const std::string& name, std::size_t columns);

/// The width for help on standard output: the terminal's, at most 100; 80 where the output is not a terminal.
[[nodiscard]] std::size_t helpColumns();

}  // namespace tarvel
