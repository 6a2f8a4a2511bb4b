#include "tools/command_line/argument_parser.h"

#include <algorithm>
#include <iostream>
#include <numeric>

#include "tools/command_line/command_definition.h"
#include "tools/command_line/command_line_agent.h"
#include "tools/command_line/command_line_backup.h"
#include "tools/command_line/command_line_browser.h"
#include "tools/command_line/command_line_paths.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

constexpr const char* kFooter =
    "To begin with: tarvel preview shows what a sort would change, and writes nothing. The manual: man tarvel\n\n"
    "Exit status: 0 done or nothing to do; 1 bookmarks file (restore: backup) not found; 2 restore: no bookmarks "
    "file;\n"
    "3 not a bookmarks file; 4 version too advanced; 5 not readable; 6 not writable; 7 no backup made; 8 in use;\n"
    "10 preview, restore: the file would change; diff: they differ; 11 status: the agent does not run though it "
    "should, or an error waits; doctor: something needs attention;\n"
    "12 settings, report: not kept, agent: not done, a page not written, or a copy not removed; 64 wrong usage; 70 not "
    "enough memory.";

/// As of a shell's variable that is not set: the default file in its place would be another one than was meant.
std::string refusalOfEmptyPath(const std::string& path) {
  return path.empty() ? "a path is empty; is a variable of your shell not set?" : std::string();
}

constexpr const char* kBookmarksFileHelp =
    "The bookmarks file (default: BookmarksFilename of the settings, else ~/Library/Safari/Bookmarks.plist)";

void addColor(CLI::App& command, CommandLine& line) {
  command.add_option("--color", line.color, "Colour the output: auto (on a terminal), always, never")
      ->transform(CLI::CheckedTransformer(kColorChoices, CLI::ignore_case).description(""))
      ->type_name("WHEN");
}

void addBackupFile(CLI::App& command, CommandLine& line) {
  addPath(command, "--backup-file", line.backupFile, "Where the backup is, instead of in the user's data folder")
      ->type_name("PATH");
}

/// A rule that stays open unless one of its two options is given; the last one counts.
void addRule(CLI::App& command, std::optional<bool>& rule, const std::string& name, const std::string& help) {
  command
      .add_flag(
          "--" + name + ",!--no-" + name, [&rule](std::int64_t given) { rule = given > 0; }, help)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

void addSortOptions(CLI::App& command, CommandLine& line) {
  addRule(command, line.foldersAtTop, "folders-at-top",
          "Folders before bookmarks in every folder (default: the setting, or yes)");
  addRule(command, line.removeDuplicates, "remove-duplicates",
          "Remove bookmarks whose address comes again later in the same tree (default: the setting, or yes)");
  addRule(command, line.renameSamenamed, "rename-samenamed",
          "Give same-named entries of a folder distinct titles (default: the setting, or yes)");
  addRule(command, line.sortBookmarksBar, "sort-bookmarks-bar",
          "Order the bookmarks bar too (default: the setting, or no)");
  command.add_flag("--backup,!--no-backup", line.backup,
                   "Before the first change, copy the file to where no copy is yet (default: yes)");
  command.add_flag("--json", line.json, "Report as JSON");
  addBackupFile(command, line);
  addColor(command, line);
  addBookmarksFile(command, line);
}

CLI::Option* addOpen(CLI::App& command, CommandLine& line) {
  return command
      .add_flag("--open", line.opensPage,
                "Open that page; without a file of its own it is in the folder Tarvel of the user's cache")
      ->excludes(command.get_option("--json"));
}

void addPage(CLI::App& command, CommandLine& line) {
  CLI::Option* json = command.get_option("--json");
  addPath(command, "--html", line.htmlFile, "Write a page that shows both trees side by side; - for standard output")
      ->type_name("FILE")
      ->excludes(json);
  addOpen(command, line);
}

void addDiff(CLI::App& app, CommandLine& line) {
  CLI::App* diff = app.add_subcommand("diff", "Show what differs between two bookmarks files");
  CLI::Option* text = diff->add_flag(
      "--text", [](std::int64_t) {}, "Answer as text (the default)");
  CLI::Option* json = diff->add_flag("--json", line.json, "Answer as JSON")->excludes(text);
  // A flag that may carry a value: the two files stay the only words of their own.
  diff->add_flag("--html{-}", line.htmlFile,
                 "Answer as a page that shows both trees side by side; --html=FILE writes it there")
      ->check(refusalOfEmptyPath)
      ->excludes(text)
      ->excludes(json);
  addOpen(*diff, line)->excludes(text);
  addColor(*diff, line);
  addPath(*diff, "OLD", line.file, "The earlier bookmarks file, a backup perhaps")->required();
  addPath(*diff, "NEW", line.newFile, "The later one")->required();
  diff->callback([&line] { line.command = Command::kDiff; });
}

void addSettingsAction(CLI::App& settings, CommandLine& line, SettingsAction action, const std::string& name,
                       const std::string& help) {
  CLI::App* command = settings.add_subcommand(name, help);
  if (action != SettingsAction::kList) {
    command->add_option("KEY", line.key, "The setting's name")->type_name("")->required();
  }
  if (action == SettingsAction::kSet) {
    command->add_option("VALUE", line.value, "yes or no, a number of seconds, or a full path")
        ->type_name("")
        ->required();
  } else if (action != SettingsAction::kUnset) {
    command->add_flag("--json", line.json, "Answer as JSON");
  }
  command->callback([&line, action] { line.settingsAction = action; });
}

void addAgentCommands(CLI::App& app, CommandLine& line) {
  CLI::App* settings = app.add_subcommand("settings", "What the agent goes by: list, get, set, unset");
  settings->add_flag("--json", line.json, "Answer as JSON");
  addColor(*settings, line);
  addSettingsAction(*settings, line, SettingsAction::kList, "list", "Every setting with its value (the default)");
  addSettingsAction(*settings, line, SettingsAction::kGet, "get", "The value of one setting");
  addSettingsAction(*settings, line, SettingsAction::kSet, "set", "Give a setting a value");
  addSettingsAction(*settings, line, SettingsAction::kUnset, "unset", "Return a setting to its default");
  settings->require_subcommand(0, 1);
  settings->callback([&line] { line.command = Command::kSettings; });

  CLI::App* status = app.add_subcommand("status", "Whether the agent runs, what it goes by and what went wrong");
  status->add_flag("--json", line.json, "Answer as JSON");
  addColor(*status, line);
  status->callback([&line] { line.command = Command::kStatus; });

  CLI::App* report = app.add_subcommand("report", "Show the error that the agent left, unless somebody has");
  report->callback([&line] { line.command = Command::kReport; });
}

void addCommands(CLI::App& app, CommandLine& line) {
  CLI::App* sort = app.add_subcommand("sort", "Clean and order a bookmarks file now");
  addSortOptions(*sort, line);
  sort->callback([&line] { line.command = Command::kSort; });

  CLI::App* preview = app.add_subcommand("preview", "Show what a sort would change; writes nothing");
  addSortOptions(*preview, line);
  addPage(*preview, line);
  preview->callback([&line] { line.command = Command::kPreview; });

  CLI::App* restore =
      app.add_subcommand("restore", "Put the backup, or any dated copy, in place of the bookmarks file");
  addRestoreFrom(*restore, line);
  addBackupFile(*restore, line);
  addColor(*restore, line);
  addBookmarksFile(*restore, line);
  restore->callback([&line] { line.command = Command::kRestore; });
  addBackupCommand(app, line);

  CLI::App* dump = app.add_subcommand("dump", "Show or convert any property list; writes to standard output");
  dump->add_option("--format", line.dumpFormat, "What to write: xml (default), binary, json")
      ->transform(CLI::CheckedTransformer(kDumpFormats, CLI::ignore_case).description(""))
      ->type_name("FORMAT");
  addColor(*dump, line);
  addPath(*dump, "FILE", line.file, "The property list, - for standard input (default: the bookmarks file)");
  addNoSettings(*dump, line);
  dump->callback([&line] { line.command = Command::kDump; });
  addDiff(app, line);
  addAgentCommands(app, line);
  addAgentControl(app, line);
  addBrowserCommand(app, line);
}

std::size_t editDistance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t substituted = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, substituted});
    }
  }
  return row.back();
}

std::vector<std::string> optionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands()) {
    for (const CLI::Option* option : command->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
      for (const std::string& name : option->get_fnames()) names.push_back("--" + name);
    }
  }
  return names;
}

std::vector<std::string> commandNames(CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands(nullptr)) names.push_back(command->get_name());
  return names;
}

/// An option that ends with its equals sign, as when a shell's variable is not set: the parser would go on to take the
/// next argument, such as the file, for its value.
void refuseEmptyValues(int argc, const char* const* argv) {
  for (int i = 1; i < argc && std::string_view(argv[i]) != "--"; ++i) {
    const std::string_view given = argv[i];
    if (given.starts_with("--") && given.ends_with('=')) {
      throw CLI::ArgumentMismatch("“" + std::string(given) + "” has no value");
    }
  }
}

void explainUsage(CLI::App& app, const CLI::ParseError& error, int argc, const char* const* argv) {
  if (argc < 2) {
    std::cerr << "tarvel: Say what is to be done. To see what a sort would change, and write nothing: tarvel preview\n";
  } else {
    std::cerr << "tarvel: " << printable(error.what()) << "\n";
  }
  const std::vector<std::string> options = optionNames(app);
  for (int i = 1; i < argc; ++i) {
    const std::string given = std::string(argv[i]).substr(0, std::string(argv[i]).find('='));
    const bool isOption = given.starts_with("--");
    if (isOption ? std::ranges::count(options, given) != 0 : i != 1 || !app.get_subcommands().empty()) continue;
    const std::string meant = closestOption(given, isOption ? options : commandNames(app));
    if (!meant.empty()) std::cerr << "Did you mean “" << meant << "”?\n";
  }
  const auto commands = app.get_subcommands();
  std::cerr << "Run “tarvel" << (commands.empty() ? "" : " " + commands.front()->get_name())
            << " --help” for what there is.\n";
}

}  // namespace

CLI::Option* addPath(CLI::App& command, const std::string& name, std::string& path, const std::string& help) {
  return command.add_option(name, path, help)->type_name("")->check(refusalOfEmptyPath);
}

void addNoSettings(CLI::App& command, CommandLine& line) {
  command.add_flag("--no-settings", line.ignoresSettings, "Go by the defaults instead of the settings");
}

void addBookmarksFile(CLI::App& command, CommandLine& line) {
  addNoSettings(command, line);
  addPath(command, "FILE", line.file, kBookmarksFileHelp);
}

std::string closestOption(const std::string& given, const std::vector<std::string>& known) {
  const auto closest = std::ranges::min_element(
      known, std::less<>(), [&given](const std::string& name) { return editDistance(given, name); });
  const bool isClose =
      closest != known.end() && editDistance(given, *closest) <= std::max<std::size_t>(2, given.size() / 3);
  return isClose ? *closest : std::string();
}

void defineCommandLine(CLI::App& app, CommandLine& line) {
  app.name("tarvel");
  app.description("Sorts Safari bookmarks, and shows beforehand what it will do.");
  app.set_version_flag("--version", "tarvel " TARVEL_VERSION);
  app.footer(kFooter);
  app.require_subcommand(1);
  addCommands(app, line);
}

ParsedCommandLine parseCommandLine(int argc, const char* const* argv) {
  ParsedCommandLine parsed;
  CLI::App app;
  defineCommandLine(app, parsed.line);
  try {
    refuseEmptyValues(argc, argv);
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    parsed.isDone = true;
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      (void)app.exit(error);
    } else {
      explainUsage(app, error, argc, argv);
      parsed.exitStatus = kExitUsage;
    }
  }
  return parsed;
}

}  // namespace tarvel
