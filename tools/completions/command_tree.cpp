#include "tools/completions/command_tree.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>

#include "tools/agent/settings_table.h"
#include "tools/command_line/command_definition.h"
#include "tools/command_line/command_settings.h"
#include "tools/command_line/help_text.h"

namespace tarvel {

namespace {

template <typename Choices>
std::vector<std::string> namesOf(const Choices& choices) {
  std::vector<std::string> names;
  for (const auto& choice : choices) names.push_back(choice.first);
  return names;
}

/// By the name that stands for a value in the help.
CompletedValue valueCalled(const std::string& name) {
  if (name == "BACKUP") return {.isFile = true, .isBackup = true, .words = {}};
  if (name == "FILE" || name == "PATH" || name == "OLD" || name == "NEW") return {.isFile = true, .words = {}};
  if (name == "WHEN") return {.words = namesOf(kColorChoices)};
  if (name == "FORMAT") return {.words = namesOf(kDumpFormats)};
  if (name == "KEY") return {.words = settableSettings()};
  return {.isSettingValue = name == "VALUE", .words = {}};
}

void addOption(CompletedCommand& command, const CLI::Option& option) {
  if (option.get_positional()) {
    command.operands.push_back(valueCalled(option.get_name(true)));
    return;
  }
  CompletedOption completed;
  completed.help = option.get_description();
  completed.takesValue = option.get_expected_min() > 0;
  if (completed.takesValue) completed.value = valueCalled(option.get_type_name());
  CompletedOption negated;
  const std::vector<std::string>& namesWithValue = option.get_fnames();
  for (const std::string& name : option.get_snames()) completed.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) {
    const bool isNegated = std::ranges::count(namesWithValue, name) != 0 && option.get_flag_value(name, "") == "false";
    (isNegated ? negated : completed).names.push_back("--" + name);
  }
  if (!negated.names.empty() && !completed.names.empty()) negated.help = "The opposite of " + completed.names.back();
  if (!completed.names.empty()) command.options.push_back(std::move(completed));
  if (!negated.names.empty()) command.options.push_back(std::move(negated));
}

/// An empty group is the parser's way to hide something.
template <typename Item>
bool isShown(const Item* item) {
  return !item->get_group().empty();
}

void addCommand(std::vector<CompletedCommand>& commands, const CLI::App& app, const std::string& path) {
  CompletedCommand command;
  command.path = path;
  command.help = app.get_description();
  for (const CLI::Option* option : app.get_options()) {
    if (isShown(option)) addOption(command, *option);
  }
  // The program's own options stand after every command, too.
  const CLI::App* program = &app;
  while (program->get_parent() != nullptr) program = program->get_parent();
  for (const CLI::Option* option : program->get_options()) {
    if (program != &app && option->get_name() != "--help") addOption(command, *option);
  }
  const std::vector<const CLI::App*> below = app.get_subcommands({});
  for (const CLI::App* child : below) {
    if (isShown(child)) command.commands.push_back({{child->get_name()}, child->get_description(), false, {}});
  }
  commands.push_back(std::move(command));
  for (const CLI::App* child : below) {
    if (isShown(child)) addCommand(commands, *child, (path.empty() ? "" : path + " ") + child->get_name());
  }
}

/// "help" takes the words of any other command.
void addHelp(std::vector<CompletedCommand>& commands) {
  const std::vector<CompletedCommand> others = commands;
  commands.front().commands.push_back({{"help"}, kHelpOfHelp, false, {}});
  for (const CompletedCommand& other : others) {
    const std::string path = other.path.empty() ? "help" : "help " + other.path;
    commands.push_back({path, other.help, {}, {}, other.commands});
  }
}

}  // namespace

std::vector<CompletedCommand> completedCommands(const CLI::App& app) {
  std::vector<CompletedCommand> commands;
  addCommand(commands, app, "");
  addHelp(commands);
  return commands;
}

std::vector<std::string> settableSettings() {
  std::vector<std::string> keys;
  for (const Setting& setting : settingsTable()) {
    if (isSettable(setting)) keys.push_back(settingName(setting.key));
  }
  return keys;
}

CompletedValue valueOfSetting(const std::string& key) {
  const Setting* setting = settingNamed(key);
  if (setting == nullptr) return {};
  if (setting->type == SettingType::kBoolean) return {.words = {"yes", "no"}};
  return {.isFile = setting->type == SettingType::kPath, .words = {}};
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::string shellQuoted(const std::string& text, const std::string& escapedQuote) {
  std::string word = "'";
  for (const char c : text) {
    if (c == '\'') {
      word += escapedQuote;
    } else {
      word += c;
    }
  }
  return word + "'";
}

}  // namespace tarvel
