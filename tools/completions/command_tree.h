#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace tarvel {

/// What is offered where a value is to be typed.
struct CompletedValue {
  /// Names of files.
  bool isFile = false;
  /// The value of the setting that was named just before.
  bool isSettingValue = false;
  /// Names of backups, besides those of files.
  bool isBackup = false;
  /// These words.
  std::vector<std::string> words;
};

struct CompletedOption {
  /// With their dashes. A flag's negated form counts as an option of its own.
  std::vector<std::string> names;
  std::string help;
  bool takesValue = false;
  CompletedValue value;
};

/// One command of the command line, or the command line itself.
struct CompletedCommand {
  /// The words that lead to it, such as "settings get"; empty for the command line itself.
  std::string path;
  std::string help;
  std::vector<CompletedOption> options;
  /// What its operands are, in order.
  std::vector<CompletedValue> operands;
  /// The last word of each command below, with what it is for.
  std::vector<CompletedOption> commands;
};

/// Every command of `app`, the command line itself first, each before those below it.
[[nodiscard]] std::vector<CompletedCommand> completedCommands(const CLI::App& app);

/// The values that a prompt may give the setting, as far as there is a list of them.
[[nodiscard]] CompletedValue valueOfSetting(const std::string& key);
/// The settings that a prompt may set.
[[nodiscard]] std::vector<std::string> settableSettings();

// The texts of the completion files.
[[nodiscard]] std::string bashCompletion(const std::vector<CompletedCommand>& commands);
[[nodiscard]] std::string fishCompletion(const std::vector<CompletedCommand>& commands);
[[nodiscard]] std::string zshCompletion(const std::vector<CompletedCommand>& commands);

/// The command line that lists the names of backups, one a line. The bookmarks file follows, if one is named.
inline constexpr const char* kListBackups = "tarvel backup list --quiet 2>/dev/null --";

/// The words with a space between any two.
[[nodiscard]] std::string joined(const std::vector<std::string>& words);
/// `text` as one word of a shell, in single quotes; `escapedQuote` stands for one that is in the text.
[[nodiscard]] std::string shellQuoted(const std::string& text, const std::string& escapedQuote);

}  // namespace tarvel
