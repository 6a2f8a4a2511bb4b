#include "tools/completions/command_tree.h"

namespace tarvel {

namespace {

constexpr const char* kQuote = R"('\'')";

constexpr const char* kHead = R"(# Completions of tarvel for bash. Made by the build; do not edit.

)";

/// A word as the shell will read it, where that is certain without expanding anything: an expansion could run a
/// program.
constexpr const char* kUnquoted = R"__(
_tarvel_unquoted() {
  local word=$1
  case $word in
    *['$`']*) return ;;
    "'"*"'" | '"'*'"') word=${word:1:${#word}-2} ;;
    *) word=${word//\\/} ;;
  esac
  printf '%s\n' "${word/#\~\//$HOME/}"
}
)__";

/// Goes through the words before the one to be completed: which command they lead to, and what is to follow.
const std::string kTail = R"(
_tarvel() {
  local current=${COMP_WORDS[COMP_CWORD]} command='' previous='' offered='' word i
  local -i operands=0
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [[ -n $offered ]]; then
      # Between an option and its value an equals sign is a word of its own.
      [[ $word == '=' ]] || offered=''
    elif [[ $word == -* ]]; then
      _tarvel_option_value "$command $word"
    elif _tarvel_is_command "$command $word"; then
      command=${command:+$command }$word
      operands=0
    else
      operands+=1
      previous=$word
    fi
  done
  if [[ -n $offered ]]; then
    [[ $current == '=' ]] && current=''
  elif [[ $current == -* ]]; then
    _tarvel_options "$command"
  else
    _tarvel_operand "$command $operands"
  fi
  COMPREPLY=()
  case $offered in
    '' | -) ;;
    @backup)
      compopt -o filenames 2>/dev/null
      local name file=''
      ((operands)) && file=$(_tarvel_unquoted "$previous")
      while IFS= read -r name; do
        [[ $name == "$current"* ]] && COMPREPLY+=("$name")
      done < <()" + std::string(kListBackups) +
                          R"( ${file:+"$file"})
      mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- "$current")
      ;;
    @file*)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$current"; compgen -W "${offered#@file}" -- "$current")
      ;;
    *) mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$current") ;;
  esac
}

complete -F _tarvel tarvel
)";

/// The value of `offered`. A dash stands for a value without suggestions.
std::string offer(const CompletedValue& value) {
  if (value.isBackup) return "@backup";
  if (value.isFile) return "@file";
  return value.words.empty() ? "-" : joined(value.words);
}

std::string branch(const std::string& pattern, const std::string& offered) {
  return "    " + shellQuoted(pattern, kQuote) + ") offered=" + shellQuoted(offered, kQuote) + " ;;\n";
}

std::string function(const std::string& name, const std::string& branches) {
  return name + "() {\n  case $1 in\n" + branches + "  esac\n}\n";
}

std::string settingValueFunction() {
  std::string branches;
  for (const std::string& key : settableSettings()) branches += branch(key, offer(valueOfSetting(key)));
  return function("_tarvel_setting_value", branches);
}

}  // namespace

std::string bashCompletion(const std::vector<CompletedCommand>& commands) {
  std::string values;
  std::string options;
  std::string operands;
  std::string known;
  for (const CompletedCommand& command : commands) {
    std::vector<std::string> names;
    for (const CompletedOption& option : command.options) {
      for (const std::string& name : option.names) {
        names.push_back(name);
        if (option.takesValue) values += branch(command.path + " " + name, offer(option.value));
      }
    }
    options += branch(command.path, joined(names));
    std::vector<std::string> below;
    for (const CompletedOption& child : command.commands) below.push_back(child.names.front());
    if (!below.empty()) {
      const bool isFileToo = !command.operands.empty() && command.operands.front().isFile;
      operands += branch(command.path + " 0", (isFileToo ? "@file " : "") + joined(below));
    }
    for (const std::string& child : below) known += "    " + shellQuoted(command.path + " " + child, kQuote) + ") ;;\n";
    for (std::size_t i = below.empty() ? 0 : 1; i < command.operands.size(); ++i) {
      const std::string place = command.path + " " + std::to_string(i);
      operands += command.operands[i].isSettingValue
                      ? "    " + shellQuoted(place, kQuote) + ") _tarvel_setting_value \"$previous\" ;;\n"
                      : branch(place, offer(command.operands[i]));
    }
  }
  return kHead + function("_tarvel_option_value", values) + function("_tarvel_options", options) +
         settingValueFunction() + function("_tarvel_operand", operands) +
         function("_tarvel_is_command", known + "    *) return 1 ;;\n") + kUnquoted + kTail;
}

}  // namespace tarvel
