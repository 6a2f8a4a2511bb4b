#include "tools/command_line/help_text.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "tools/command_line/command_help.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

constexpr std::size_t kWidest = 100;
constexpr std::size_t kUsual = 80;
/// Where explanations begin; a longer name has its explanation below.
constexpr std::size_t kExplanationColumn = 24;

bool isShown(const CLI::Option& option) { return !option.get_group().empty(); }

/// "-o, --output FILE", "--[no-]backup", "FILE".
std::string nameOf(const CLI::Option& option) {
  if (option.get_positional()) return option.get_name(true);
  std::string text;
  for (const std::string& name : option.get_snames()) text += (text.empty() ? "-" : ", -") + name;
  const std::vector<std::string>& names = option.get_lnames();
  const bool isRule = names.size() == 2 && names.back() == "no-" + names.front();
  if (isRule) return "--[no-]" + names.front();
  for (const std::string& name : names) text += (text.empty() ? "--" : ", --") + name;
  if (option.get_expected_min() > 0 && !option.get_type_name().empty()) text += " " + option.get_type_name();
  return text;
}

class Help {
 public:
  Help(const CLI::App& command, std::string name, std::size_t columns)
      : command_(command), name_(std::move(name)), columns_(columns) {}

  std::string build() {
    const CommandHelp& help = commandHelp(name_);
    paragraph("Usage: tarvel" + (name_.empty() ? "" : " " + name_) + " " + std::string(help.usage));
    line("");
    paragraph(sentenceOf(command_.get_description()));
    commands();
    options("Arguments", command_, true);
    options("Options", command_, false);
    if (const CLI::App* program = root(); program != &command_) options("Options of every command", *program, false);
    section("Examples");
    for (const std::string_view example : help.examples) line("  " + std::string(example));
    section("Exit status");
    for (const StatusHelp& status : help.statuses) row(std::to_string(status.status), 6, status.meaning);
    row("64", 6, "Wrong usage.");
    if (name_.empty()) {
      line("");
      paragraph("More about a command: tarvel help COMMAND. The manual: man tarvel");
    }
    return text_;
  }

 private:
  [[nodiscard]] const CLI::App* root() const {
    const CLI::App* app = &command_;
    while (app->get_parent() != nullptr) app = app->get_parent();
    return app;
  }

  void line(const std::string& text) { text_ += text + "\n"; }
  void paragraph(const std::string& text) { line(wrapped(text, columns_, 2)); }
  void section(const std::string& title) {
    line("");
    line(title + ":");
  }

  void row(const std::string& name, std::size_t column, std::string_view explanation) {
    std::string head = "  " + name;
    if (head.size() + 2 > column) {
      line(head);
      head.clear();
    }
    head.resize(column, ' ');
    line(wrapped(head + std::string(explanation), columns_, column));
  }

  void commands() {
    const std::vector<const CLI::App*> below = command_.get_subcommands({});
    if (below.empty()) return;
    section("Commands");
    for (const CLI::App* one : below) row(one->get_name(), 12, one->get_description());
    if (name_.empty()) row("help", 12, kHelpOfHelp);
  }

  void options(const char* title, const CLI::App& command, bool arePositional) {
    bool isFirst = true;
    for (const CLI::Option* option : command.get_options()) {
      if (!isShown(*option) || option->get_positional() != arePositional) continue;
      // The program's own options are shown once, among those of every command.
      if (&command == &command_ && &command != root() && option->get_name() == "--help") continue;
      if (isFirst) section(title);
      isFirst = false;
      row(nameOf(*option), std::min(kExplanationColumn, columns_ / 3), option->get_description());
    }
  }

  const CLI::App& command_;
  std::string name_;
  std::size_t columns_;
  std::string text_;
};

}  // namespace

std::string helpText(const CLI::App& command, const std::string& name, std::size_t columns) {
  return Help(command, name, columns).build();
}

std::size_t helpColumns() {
  const std::size_t columns = terminalColumns(STDOUT_FILENO);
  return columns == 0 ? kUsual : std::min(columns, kWidest);
}

}  // namespace tarvel
