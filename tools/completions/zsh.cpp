#include "tools/completions/command_tree.h"

namespace tarvel {

namespace {

constexpr const char* kQuote = R"('\'')";

/// What would end a description inside of an argument's description.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '[' || c == ']' || c == ':' || c == '\\') result += '\\';
    result += c;
  }
  return result;
}

std::string action(const CompletedValue& value) {
  if (value.isBackup) return "_tarvel_backup";
  if (value.isFile) return "_files";
  if (value.isSettingValue) return "_tarvel_setting_value";
  return value.words.empty() ? " " : "(" + joined(value.words) + ")";
}

std::string argument(const std::string& text) { return " \\\n    " + shellQuoted(text, kQuote); }

std::string functionName(const std::string& path) {
  std::string name = "_tarvel";
  if (!path.empty()) name += "_command_";
  for (const char c : path) name += c == ' ' || c == '-' ? '_' : c;
  return name;
}

std::string optionArguments(const CompletedCommand& command) {
  std::string text;
  for (const CompletedOption& option : command.options) {
    for (const std::string& name : option.names) {
      const std::string equals = option.takesValue && name.starts_with("--") ? "=" : "";
      const std::string value = option.takesValue ? ":value:" + action(option.value) : "";
      text += argument(name + equals + "[" + escaped(option.help) + "]" + value);
    }
  }
  return text;
}

/// A command with others below it: one word tells which, and the rest is that one's.
std::string groupFunction(const CompletedCommand& command) {
  const bool isFileToo = !command.operands.empty() && command.operands.front().isFile;
  std::string described;
  std::string branches;
  for (const CompletedOption& child : command.commands) {
    const std::string& name = child.names.front();
    described += "        " + shellQuoted(name + ":" + child.help, kQuote) + "\n";
    branches +=
        "        " + name + ") " + functionName((command.path.empty() ? "" : command.path + " ") + name) + " ;;\n";
  }
  return functionName(command.path) + "() {\n  local curcontext=$curcontext state line\n  local -a commands\n" +
         "  _arguments -C -A \"-*\"" + optionArguments(command) + argument("1:command:->command") +
         argument("*::argument:->rest") + "\n  case $state in\n    command)\n      commands=(\n" + described +
         "      )\n      _describe command commands\n" + (isFileToo ? "      _files\n" : "") +
         "      ;;\n    rest)\n      case $line[1] in\n" + branches + "      esac\n      ;;\n  esac\n}\n\n";
}

std::string plainFunction(const CompletedCommand& command) {
  std::string text = functionName(command.path) + "() {\n  _arguments" + optionArguments(command);
  for (const CompletedValue& operand : command.operands) text += argument(":operand:" + action(operand));
  return text + "\n}\n\n";
}

std::string settingValueFunction() {
  std::string text = "_tarvel_setting_value() {\n  case $words[CURRENT-1] in\n";
  for (const std::string& key : settableSettings()) {
    const CompletedValue value = valueOfSetting(key);
    if (value.isFile) text += "    " + key + ") _files ;;\n";
    if (!value.words.empty()) text += "    " + key + ") compadd " + joined(value.words) + " ;;\n";
  }
  return text + "  esac\n}\n\n";
}

std::string backupFunction() {
  return "_tarvel_backup() {\n  local -a names\n  local file=${${(Q)line[1]}/#\\~\\//$HOME/}\n  names=(${(f)\"$(" +
         std::string(kListBackups) + " ${file:+\"$file\"})\"})\n  compadd -a names\n  _files\n}\n\n";
}

}  // namespace

std::string zshCompletion(const std::vector<CompletedCommand>& commands) {
  std::string text = "#compdef tarvel\n# Completions of tarvel for zsh. Made by the build; do not edit.\n\n";
  text += settingValueFunction() + backupFunction();
  for (const CompletedCommand& command : commands) {
    text += command.commands.empty() ? plainFunction(command) : groupFunction(command);
  }
  return text + "_tarvel \"$@\"\n";
}

}  // namespace tarvel
