#include "tools/command_line/usage_error.h"

#include <algorithm>
#include <string_view>

#include "tools/command_line/closest_name.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

void addOptionNames(const CLI::App& command, std::vector<std::string>& names) {
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    for (const std::string& name : option->get_fnames()) {
      if (name.size() > 1) names.push_back("--" + name);
    }
  }
}

std::vector<std::string> optionNames(const CLI::App& app) {
  std::vector<std::string> names;
  addOptionNames(app, names);
  for (const CLI::App* command = &app; !command->get_subcommands().empty();) {
    command = command->get_subcommands().front();
    addOptionNames(*command, names);
  }
  return names;
}

std::vector<std::string> commandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  if (app.get_parent() == nullptr) names.emplace_back("help");
  return names;
}

/// The first argument that is not an option.
std::string firstWord(const std::vector<std::string>& arguments) {
  const auto word = std::ranges::find_if(
      arguments, [](const std::string& argument) { return !argument.starts_with('-') || argument.size() == 1; });
  return word == arguments.end() ? std::string() : *word;
}

/// The first option that the commands parsed do not have.
std::string unknownOption(const std::vector<std::string>& arguments, const std::vector<std::string>& known) {
  for (const std::string& argument : arguments) {
    if (argument == "--") break;
    const std::string name = argument.substr(0, argument.find('='));
    if (name.size() > 1 && name.starts_with("--") && std::ranges::count(known, name) == 0) return name;
    if (name.size() == 2 && name[0] == '-' && std::ranges::count(known, name) == 0) return name;
  }
  return {};
}

/// An argument as it is pasted; plain words without quotes.
std::string pasted(const std::string& argument) {
  const bool isPlain = !argument.empty() && std::ranges::all_of(argument, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("-_./=").find(c) != std::string_view::npos;
  });
  return isPlain ? argument : shellWord(argument);
}

/// The page goes to -o.
Message refusalOfPage(const std::string& page, const std::vector<std::string>& arguments) {
  Message message{
      {"--html takes no file, so " + quotedText(page) + " would be read as bookmarks.", "To write the page to it:"},
      "tarvel"};
  for (const std::string& argument : arguments) {
    message.command += " " + pasted(argument) + (argument == "--html" ? " -o" : "");
  }
  return message;
}

Message wordsFor(const CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& arguments) {
  const CLI::App& innermost = innermostParsed(app);
  const std::string word = firstWord(arguments);
  if (isCommandUnknown(app, arguments)) return unknownCommand(app, {}, word);
  const auto page = pageAfterHtml(arguments);
  if (page && innermost.get_option_no_throw("--html") != nullptr) return refusalOfPage(*page, arguments);
  const std::string option = unknownOption(arguments, optionNames(app));
  if (!option.empty() && dynamic_cast<const CLI::ValidationError*>(&error) == nullptr) {
    // Every letter is close to every other.
    const std::string meant = option.starts_with("--") ? didYouMean(option, optionNames(app)) : std::string();
    return {{"There is no option " + quotedText(option) + ".", meant}, {}};
  }
  const bool hasCommand = !app.get_subcommands().empty() || !word.empty();
  if (!hasCommand) return {{"Give a command, such as “tarvel preview”."}, {}};
  const auto* extras = dynamic_cast<const CLI::ExtrasError*>(&error);
  const std::vector<std::string> left = app.remaining(true);
  if (extras != nullptr && !left.empty()) {
    const bool isGroup = !innermost.get_subcommands({}).empty();
    if (isGroup) return unknownCommand(innermost, nameOfParsed(app), left.front());
    // The parser expects an option of the program in front of the command, where one with a value has been put.
    if (app.get_option_no_throw(left.front()) != nullptr) return {{printable(left.front()) + " needs a value."}, {}};
    if (innermost.get_option_no_throw(left.front()) != nullptr) {
      return {{"The option " + printable(left.front()) + " goes after the command."}, {}};
    }
    return {{"There is one argument too many: " + quotedText(left.front()) + "."}, {}};
  }
  if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
    std::string needed;
    for (const CLI::Option* one : innermost.get_options()) {
      if (one->get_required()) needed += (needed.empty() ? "" : " and ") + one->get_name(true);
    }
    return {{"“tarvel " + nameOfParsed(app) + "” needs " + needed + "."}, {}};
  }
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    const std::string text = error.what();
    return {{printable(text.substr(0, text.find(':'))) + " needs a value."}, {}};
  }
  const auto flag = std::ranges::find_if(arguments, [](const std::string& argument) {
    return argument.starts_with("--") && argument.find('=') != std::string::npos;
  });
  if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr && flag != arguments.end()) {
    return {{printable(flag->substr(0, flag->find('='))) + " takes no value."}, {}};
  }
  return {{sentenceOf(printable(error.what()))}, {}};
}

}  // namespace

Message unknownCommand(const CLI::App& group, const std::string& groupName, const std::string& word) {
  const std::string before = groupName.empty() ? std::string() : groupName + " ";
  return {{"There is no command " + quotedText(before + word) + ".", didYouMean(word, commandNames(group))},
          groupName.empty() ? "tarvel help" : "tarvel help " + groupName};
}

std::optional<std::string> pageAfterHtml(const std::vector<std::string>& arguments) {
  const auto option = std::ranges::find(arguments, "--html");
  if (option == arguments.end() || option + 1 == arguments.end()) return std::nullopt;
  const std::string& page = *(option + 1);
  return page.ends_with(".html") || page.ends_with(".htm") ? std::optional(page) : std::nullopt;
}

bool isCommandUnknown(const CLI::App& app, const std::vector<std::string>& arguments) {
  const std::string word = firstWord(arguments);
  return app.get_subcommands().empty() && !word.empty() && std::ranges::count(commandNames(app), word) == 0;
}

const CLI::App& innermostParsed(const CLI::App& app) {
  const CLI::App* command = &app;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().front();
  return *command;
}

std::string nameOfParsed(const CLI::App& app) {
  std::string name;
  for (const CLI::App* command = &app; !command->get_subcommands().empty();) {
    command = command->get_subcommands().front();
    name += (name.empty() ? "" : " ") + command->get_name();
  }
  return name;
}

Message usageMessage(CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& arguments) {
  Message message = wordsFor(app, error, arguments);
  if (!message.command.empty()) return message;
  const bool isKnown = !isCommandUnknown(app, arguments);
  const std::string name = app.get_subcommands().empty() && isKnown ? firstWord(arguments) : nameOfParsed(app);
  message.command = "tarvel help" + (name.empty() ? "" : " " + name);
  return message;
}

}  // namespace tarvel
