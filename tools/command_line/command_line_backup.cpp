#include "tools/command_line/command_line_backup.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>
#include <string>
#include <system_error>

#include "tools/command_line/command_line.h"
#include "tools/command_line/command_line_paths.h"

namespace tarvel {

namespace {

void addPlaces(CLI::App& command, CommandLine& line) {
  addPath(command, "--backup-file", line.backupFile, "Where the initial backup is; the others lie beside it")
      ->type_name("PATH");
  addBookmarksFile(command, line);
}

std::string checkAge(const std::string& text) {
  return secondsOfAge(text) ? std::string() : "“" + text + "” is no age; give a number and h, d, w or y, such as 90d";
}

std::string checkCount(const std::string& text) {
  const bool isNumber = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  return isNumber ? std::string() : "“" + text + "” is no number of copies";
}

/// Of digits. The parser's own way would take a leading zero as a sign of octal digits.
std::size_t countOf(const std::string& digits) {
  std::size_t count = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), count);
  return read.ec == std::errc() ? count : std::numeric_limits<std::size_t>::max();
}

/// A shell's variable that is not set would have the initial backup moved, unasked.
std::string checkCopy(const std::string& name) {
  return name.empty() ? "a copy is needed; to see what there is: tarvel backup list" : std::string();
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

void addBackupCommand(CLI::App& app, CommandLine& line) {
  CLI::App* backup =
      app.add_subcommand("backup", "Keep a dated copy of the bookmarks file; list them, remove old ones");
  addPlaces(*backup, line);
  backup->callback([&line] { line.command = Command::kBackup; });
  backup->require_subcommand(0, 1);

  CLI::App* list = backup->add_subcommand("list", "Every copy of the bookmarks file, the newest first");
  list->add_flag("--json", line.json, "Answer as JSON");
  addPlaces(*list, line);
  list->callback([&line] { line.copies.action = BackupAction::kList; });

  CLI::App* prune = backup->add_subcommand("prune", "Remove old copies; the first and the newest always stay");
  prune
      ->add_option_function<std::string>(
          "--keep", [&line](const std::string& count) { line.copies.keep = countOf(count); },
          "Leave this many of the newest copies")
      ->check(CLI::Validator(checkCount, "", "count"))
      ->type_name("N");
  prune
      ->add_option_function<std::string>(
          "--older-than", [&line](const std::string& age) { line.copies.olderThan = secondsOfAge(age); },
          "Remove only what is older, such as 36h, 90d, 12w, 2y")
      ->check(CLI::Validator(checkAge, "", "age"))
      ->type_name("AGE");
  prune->add_flag("--dry-run", line.copies.isDryRun, "Only tell what would be removed");
  addPlaces(*prune, line);
  prune->callback([&line] {
    line.copies.action = BackupAction::kPrune;
    if (line.copies.keep || line.copies.olderThan) return;
    throw CLI::ValidationError("prune", "say what may go: --keep N, --older-than AGE or both");
  });
}

void addRestoreFrom(CLI::App& restore, CommandLine& line) {
  auto* from = restore.add_option("--from", line.copies.from,
                                  "The copy to put back, which also stays: its path, its name, or a part of its name");
  from->check(CLI::Validator(checkCopy, "", "copy"))->type_name("COPY");
  restore.add_flag("--yes", line.copies.isAgreed, "Put it back without asking");
}

}  // namespace tarvel
