#include <charconv>
#include <limits>
#include <string>
#include <system_error>

#include "tools/command_line/command_definition.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

void addPlaces(CLI::App& command, CommandLine& line) {
  addBackupFile(command, line);
  addBookmarksFile(command, line);
}

std::string checkAge(const std::string& text) {
  return secondsOfAge(text) ? std::string() : quotedText(text) + " is not an age such as 36h, 90d, 12w or 2y";
}

std::string checkCount(const std::string& text) {
  const bool isNumber = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  return isNumber ? std::string() : quotedText(text) + " is not a number of backups";
}

/// The parser's own conversion would read a leading zero as octal.
std::size_t countOf(const std::string& digits) {
  std::size_t count = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), count);
  return read.ec == std::errc() ? count : std::numeric_limits<std::size_t>::max();
}

/// As of a shell variable that is not set: the initial backup would be put back instead.
std::string checkBackup(const std::string& name) {
  return name.empty() ? "the name is empty; is a variable of your shell not set?" : std::string();
}

void definePrune(CLI::App& backup, CommandLine& line) {
  CLI::App* prune = backup.add_subcommand("prune", "Remove old backups; the initial and the newest one always stay");
  prune
      ->add_option_function<std::string>(
          "--keep", [&line](const std::string& count) { line.backups.keep = countOf(count); },
          "Keep this many of the newest backups")
      ->check(CLI::Validator(checkCount, "", "count"))
      ->type_name("N");
  prune
      ->add_option_function<std::string>(
          "--older-than", [&line](const std::string& age) { line.backups.olderThan = secondsOfAge(age); },
          "Remove only backups older than this, such as 36h, 90d, 12w, 2y")
      ->check(CLI::Validator(checkAge, "", "age"))
      ->type_name("AGE");
  addDryRun(*prune, line);
  addPlaces(*prune, line);
  prune->callback([&line] {
    line.backups.action = BackupAction::kPrune;
    if (line.backups.keep || line.backups.olderThan) return;
    throw CLI::ValidationError("backup prune", "give --keep N, --older-than AGE or both");
  });
}

}  // namespace

std::optional<std::int64_t> secondsOfAge(const std::string& text) {
  constexpr std::size_t kMostDigits = 6;
  constexpr std::int64_t kHour = 3600;
  const std::size_t digits = text.find_first_not_of("0123456789");
  if (digits == 0 || digits == std::string::npos || digits > kMostDigits || digits + 1 != text.size()) {
    return std::nullopt;
  }
  const std::int64_t number = std::stoll(text.substr(0, digits));
  switch (text.back()) {
    case 'h':
      return number * kHour;
    case 'd':
      return number * 24 * kHour;
    case 'w':
      return number * 7 * 24 * kHour;
    case 'y':
      return number * 365 * 24 * kHour;
    default:
      return std::nullopt;
  }
}

void defineBackupCommands(CLI::App& app, CommandLine& line) {
  CLI::App* backup = app.add_subcommand("backup", "Back up the bookmarks file: create (the default), list, prune");
  addPlaces(*backup, line);
  backup->callback([&line] { line.command = Command::kBackup; });
  backup->require_subcommand(0, 1);

  CLI::App* create = backup->add_subcommand("create", "Make a backup of the bookmarks file");
  addPlaces(*create, line);
  create->callback([&line] { line.backups.action = BackupAction::kCreate; });

  CLI::App* list = backup->add_subcommand("list", "Every backup of the bookmarks file, the newest first");
  addPlaces(*list, line);
  list->callback([&line] { line.backups.action = BackupAction::kList; });
  definePrune(*backup, line);
}

void defineRestoreFrom(CLI::App& restore, CommandLine& line) {
  restore
      .add_option("--from", line.backups.from,
                  "The backup to put back, which also stays: its path, its name, or a part of its name")
      ->check(CLI::Validator(checkBackup, "", "backup"))
      ->type_name("BACKUP");
  restore.add_flag("-y,--yes", line.backups.isAgreed, "Put it back without asking");
}

}  // namespace tarvel
