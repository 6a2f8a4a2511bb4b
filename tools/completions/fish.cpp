#include <string_view>

#include "tools/completions/command_tree.h"

namespace tarvel {

namespace {

constexpr const char* kQuote = R"(\')";

constexpr const char* kHead = R"(# Completions of tarvel for fish. Made by the build; do not edit.

)";

/// Goes through the words before the one to be completed. Without a second argument, any number of operands will do.
constexpr const char* kWalk = R"(
# The command that the words lead to, then each of its operands.
function __tarvel_words
    set -l command ''
    set -l operands
    set -l isValue 0
    for word in (commandline -opc)[2..-1]
        if test $isValue = 1
            set isValue 0
        else if string match -q -- '-*' $word
            contains -- "$command $word" $__tarvel_value_options; and set isValue 1
        else if contains -- "$command $word" $__tarvel_commands
            set command (string trim -- "$command $word")
            set operands
        else
            set -a operands $word
        end
    end
    printf '%s\n' "$command" $operands
end

# __tarvel_at COMMAND [COUNT]: whether that command is being written, with so many operands before the cursor.
function __tarvel_at
    set -l words (__tarvel_words)
    test "$words[1]" = "$argv[1]"; or return 1
    test (count $argv) -lt 2; or test (math (count $words) - 1) -eq $argv[2]
end

# __tarvel_sets KEY: whether the setting's value is being written.
function __tarvel_sets
    set -l words (__tarvel_words)
    __tarvel_at 'settings set' 1; and test "$words[2]" = $argv[1]
end

# The names of the backups of the file that is named, or of the default one.
function __tarvel_backups
    set -l words (__tarvel_words)
    set -l file (string replace -r '^~/' "$HOME/" -- $words[2])
    @list $file
end

complete -c tarvel -f
)";

std::string line(const std::string& condition, const std::string& rest) {
  return "complete -c tarvel -n " + shellQuoted(condition, kQuote) + rest + "\n";
}

std::string at(const std::string& path) { return "__tarvel_at \"" + path + "\""; }

std::string valueArguments(const CompletedValue& value) {
  if (value.isBackup) return " -r -F -a '(__tarvel_backups)'";
  if (value.isFile) return " -r -F";
  return value.words.empty() ? " -x" : " -x -a " + shellQuoted(joined(value.words), kQuote);
}

std::string optionLine(const CompletedCommand& command, const CompletedOption& option) {
  std::string names;
  for (const std::string& name : option.names) {
    names += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  return line(at(command.path), names + (option.takesValue ? valueArguments(option.value) : "") + " -d " +
                                    shellQuoted(option.help, kQuote));
}

std::string operandLine(const CompletedCommand& command, std::size_t index) {
  const CompletedValue& operand = command.operands[index];
  const std::string condition = at(command.path) + " " + std::to_string(index);
  if (operand.isFile) return line(condition, " -F");
  return operand.words.empty() ? "" : line(condition, " -a " + shellQuoted(joined(operand.words), kQuote));
}

std::string settingLines() {
  std::string text;
  for (const std::string& key : settableSettings()) {
    const CompletedValue value = valueOfSetting(key);
    if (value.isFile) text += line("__tarvel_sets " + key, " -F");
    if (!value.words.empty()) text += line("__tarvel_sets " + key, " -a " + shellQuoted(joined(value.words), kQuote));
  }
  return text;
}

}  // namespace

std::string fishCompletion(const std::vector<CompletedCommand>& commands) {
  std::string lines;
  std::string valueOptions;
  std::string known;
  for (const CompletedCommand& command : commands) {
    for (const CompletedOption& option : command.options) {
      lines += optionLine(command, option);
      for (const std::string& name : option.names) {
        if (option.takesValue) valueOptions += " " + shellQuoted(command.path + " " + name, kQuote);
      }
    }
    for (const CompletedOption& child : command.commands) {
      known += " " + shellQuoted(command.path + " " + child.names.front(), kQuote);
      lines += line(at(command.path) + " 0", " -a " + child.names.front() + " -d " + shellQuoted(child.help, kQuote));
    }
    for (std::size_t i = 0; i < command.operands.size(); ++i) lines += operandLine(command, i);
  }
  std::string walk = kWalk;
  constexpr std::string_view kPlace = "@list";
  walk.replace(walk.find(kPlace), kPlace.size(), kListBackups);
  return kHead + std::string("set -g __tarvel_value_options") + valueOptions + "\nset -g __tarvel_commands" + known +
         "\n" + walk + lines + settingLines();
}

}  // namespace tarvel
