#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/terminal/message.h"

namespace tarvel {

/// What is wrong with the arguments (without the program's name), which command to use instead where that can be
/// guessed, and the help to read. `app` has just refused them with `error`.
[[nodiscard]] Message usageMessage(CLI::App& app, const CLI::ParseError& error,
                                   const std::vector<std::string>& arguments);

/// That `group`, which `groupName` leads to, has no command `word`.
[[nodiscard]] Message unknownCommand(const CLI::App& group, const std::string& groupName, const std::string& word);

/// The argument after --html where it is the name of a page, such as "page.html": --html takes none.
[[nodiscard]] std::optional<std::string> pageAfterHtml(const std::vector<std::string>& arguments);

/// Whether the first word names no command.
[[nodiscard]] bool isCommandUnknown(const CLI::App& app, const std::vector<std::string>& arguments);

/// The words that name the command that was parsed, such as "backup list"; empty for none.
[[nodiscard]] std::string nameOfParsed(const CLI::App& app);

/// The innermost command that was parsed; `app` itself where there is none.
[[nodiscard]] const CLI::App& innermostParsed(const CLI::App& app);

}  // namespace tarvel
