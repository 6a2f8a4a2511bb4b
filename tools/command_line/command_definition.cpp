#include "tools/command_line/command_definition.h"

#include <algorithm>

#include "tools/terminal/answer.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

/// As of a shell variable that is not set: the default file would silently take its place.
std::string refusalOfEmptyPath(const std::string& path) {
  return path.empty() ? "the path is empty; is a variable of your shell not set?" : std::string();
}

constexpr const char* kBookmarksFileHelp =
    "The bookmarks file (default: the setting bookmarks-filename, else ~/Library/Safari/Bookmarks.plist)";

/// "auto, always or never"
template <typename Value>
std::string listed(const Choices<Value>& choices) {
  std::string text;
  std::size_t left = choices.size();
  for (const auto& choice : choices) {
    --left;
    text += choice.first + (left == 0 ? "" : left == 1 ? " or " : ", ");
  }
  return text;
}

/// An option that takes one of a few words.
template <typename Value>
CLI::Option* addChoice(CLI::App& command, const std::string& name, Value& chosen, const Choices<Value>& choices,
                       const std::string& help) {
  const auto find = [&choices](const std::string& given) {
    return std::ranges::find(choices, given, &std::pair<std::string, Value>::first);
  };
  return command
      .add_option_function<std::string>(
          name, [&chosen, find](const std::string& given) { chosen = find(given)->second; }, help)
      ->check(CLI::Validator(
          [&choices, find](const std::string& given) {
            return find(given) != choices.end() ? std::string() : quotedText(given) + " is not " + listed(choices);
          },
          "", "choice"));
}

/// A rule that stays open unless one of its two options is given; the last one counts.
void addRule(CLI::App& command, std::optional<bool>& rule, const std::string& name, const std::string& help) {
  command
      .add_flag(
          "--" + name + ",!--no-" + name, [&rule](std::int64_t given) { rule = given > 0; }, help)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

void addRules(CLI::App& command, CommandLine& line) {
  addRule(command, line.foldersAtTop, "folders-at-top",
          "Folders before bookmarks in every folder (default: the setting, else yes)");
  addRule(command, line.removeDuplicates, "remove-duplicates",
          "Remove bookmarks whose address comes again later in the same tree (default: the setting, else yes)");
  addRule(command, line.renameSamenamed, "rename-samenamed",
          "Give same-named entries of a folder distinct titles (default: the setting, else yes)");
  addRule(command, line.sortBookmarksBar, "sort-bookmarks-bar",
          "Order the bookmarks bar too (default: the setting, else no)");
}

/// The page of preview and diff.
void addPage(CLI::App& command, CommandLine& line) {
  command.add_flag("--html{-}", line.html, "Answer with a page that shows both trees side by side")
      ->check(refusalOfEmptyPath);
  addPath(command, "-o,--output", line.outputFile, "Write the page to this file, not to standard output")
      ->type_name("FILE");
  command.add_flag("--open", line.opensPage, "Open the page in a browser; without -o it is kept in the cache folder");
}

void defineSort(CLI::App& app, CommandLine& line) {
  CLI::App* sort = app.add_subcommand("sort", "Clean and order a bookmarks file now");
  addRules(*sort, line);
  addDryRun(*sort, line);
  sort->add_flag("--backup,!--no-backup", line.backup, "Make the initial backup where there is none (default: yes)");
  addBackupFile(*sort, line);
  addBookmarksFile(*sort, line);
  sort->callback([&line] { line.command = line.isDryRun ? Command::kPreview : Command::kSort; });
}

void definePreview(CLI::App& app, CommandLine& line) {
  CLI::App* preview = app.add_subcommand("preview", "Show what a sort would change; writes nothing");
  addRules(*preview, line);
  addPage(*preview, line);
  addBookmarksFile(*preview, line);
  preview->add_flag("--backup,!--no-backup", line.backup)->group(kHidden);
  addBackupFile(*preview, line)->group(kHidden);
  preview->callback([&line] { line.command = Command::kPreview; });
}

void defineDiff(CLI::App& app, CommandLine& line) {
  CLI::App* diff = app.add_subcommand("diff", "Show what differs between two bookmarks files");
  addPage(*diff, line);
  diff->add_flag("--text")->group(kHidden);
  addPath(*diff, "OLD", line.file, "The earlier bookmarks file, for example a backup; - for standard input")
      ->required();
  addPath(*diff, "NEW", line.newFile, "The later one; - for standard input")->required();
  diff->callback([&line] { line.command = Command::kDiff; });
}

void defineRestore(CLI::App& app, CommandLine& line) {
  CLI::App* restore = app.add_subcommand("restore", "Put the initial backup, or another backup, back");
  defineRestoreFrom(*restore, line);
  addDryRun(*restore, line);
  addBackupFile(*restore, line);
  addBookmarksFile(*restore, line);
  restore->callback([&line] { line.command = Command::kRestore; });
}

void defineDump(CLI::App& app, CommandLine& line) {
  CLI::App* dump = app.add_subcommand("dump", "Show or convert any property list");
  addChoice(*dump, "-f,--format", line.dumpFormat, kDumpFormats, "What to write: xml (default), binary, json")
      ->type_name("FORMAT");
  addPath(*dump, "-o,--output", line.outputFile, "Write to this new file, not to standard output")->type_name("FILE");
  addPath(*dump, "FILE", line.file, "The property list, - for standard input (default: the bookmarks file)");
  addNoSettings(*dump, line);
  dump->callback([&line] { line.command = Command::kDump; });
}

void addGlobalOptions(CLI::App& app, CommandLine& line) {
  app.set_version_flag("-V,--version", "tarvel " TARVEL_VERSION, "Show the version");
  app.set_help_flag("-h,--help", "Show this help");
  app.add_flag("-q,--quiet", line.output.isQuiet,
               "Say less: the summary of a preview, a diff or a sort, and no advice");
  app.add_flag("-v,--verbose", line.output.isVerbose, "Say more: whole folders, not only the entries that move");
  app.add_flag("--json", line.output.isJson, "Answer with one JSON object");
  app.add_flag(
      "--no-pager", [&line](std::int64_t) { line.output.usesPager = false; }, "Never start a pager");
  addChoice(app, "--color", line.output.color, kColorChoices,
            "Colour the output: auto (default: on a terminal), always, never")
      ->type_name("WHEN");
}

}  // namespace

CLI::Option* addPath(CLI::App& command, const std::string& name, std::string& path, const std::string& help) {
  return command.add_option(name, path, help)->type_name("")->check(refusalOfEmptyPath);
}

void addNoSettings(CLI::App& command, CommandLine& line) {
  command.add_flag("--no-settings", line.ignoresSettings, "Use the defaults instead of the settings");
}

void addBookmarksFile(CLI::App& command, CommandLine& line) {
  addNoSettings(command, line);
  addPath(command, "FILE", line.file, kBookmarksFileHelp);
}

CLI::Option* addBackupFile(CLI::App& command, CommandLine& line) {
  return addPath(command, "--backup-file", line.backupFile,
                 "Where the initial backup is; other backups are beside it (default: the user's data folder)")
      ->type_name("PATH");
}

void addDryRun(CLI::App& command, CommandLine& line) {
  command.add_flag("-n,--dry-run", line.isDryRun, "Show what would be done, and do nothing");
}

void defineCommandLine(CLI::App& app, CommandLine& line) {
  app.name("tarvel");
  app.description("Sorts Safari bookmarks, and shows beforehand what it will do.");
  app.require_subcommand(1);
  addGlobalOptions(app, line);
  definePreview(app, line);
  defineSort(app, line);
  defineDiff(app, line);
  defineRestore(app, line);
  defineBackupCommands(app, line);
  defineDump(app, line);
  defineSettingsCommand(app, line);
  defineAgentCommands(app, line);
  defineBrowserCommands(app, line);
}

}  // namespace tarvel
