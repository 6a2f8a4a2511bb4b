#include "tools/backups/command_paths.h"

#include "settings/preference_keys.h"
#include "tools/files/paths.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

std::string inQuotes(std::string_view text) { return "“" + printable(text) + "”"; }

bool usesBackup(Command command) {
  return command == Command::kSort || command == Command::kPreview || command == Command::kRestore ||
         command == Command::kBackup;
}

/// A copy of a backup would be the harmless exception; it is of no use either.
bool writesFile(Command command) { return command == Command::kSort || command == Command::kRestore; }

std::string refusalOfAnothersBackup(const CommandLine& line, const InitialBackup& backup, const std::string& file) {
  std::string refusal =
      inQuotes(backup.path) + " is the backup of " + inQuotes(backup.madeOf) + ", not of " + inQuotes(file) + ".";
  if (line.command == Command::kRestore) {
    return refusal + " To put it there all the same: tarvel restore --from " + shellWord(backup.path) + " " +
           shellWord(file);
  }
  return refusal + " Name another one with --backup-file, or leave that option out.";
}

}  // namespace

std::string bookmarksFilePath(FileManager& files, const CommandLine& line, const CommandSettings& settings) {
  if (!line.file.empty()) return files.stringByExpandingTildeInPath(absolutePath(line.file));
  if (line.ignoresSettings) return files.stringByExpandingTildeInPath(kBookmarksFilenameDefault);
  return settings.bookmarksFile;
}

InitialBackup backupOf(FileManager& files, const CommandLine& line, const CommandSettings& settings) {
  const std::string file = bookmarksFilePath(files, line, settings);
  if (line.backupFile.empty()) return initialBackupOf(files, file, settings.bookmarksFile);
  return backupAt(files, files.stringByExpandingTildeInPath(absolutePath(line.backupFile)), file);
}

std::string refusalOfPaths(FileManager& files, const CommandLine& line, const CommandSettings& settings) {
  if (!usesBackup(line.command)) return {};
  const std::string file = bookmarksFilePath(files, line, settings);
  const InitialBackup backup = backupOf(files, line, settings);
  if (isSameFile(file, backup.path)) {
    return "The backup " + inQuotes(backup.path) + " is the bookmarks file " + inQuotes(file) +
           " itself. Name another one.";
  }
  if (writesFile(line.command) && isKeptBackup(files, file, backup.path)) {
    return inQuotes(file) + " is a backup, and backups stay as they are. To look into it: tarvel preview " +
           shellWord(file);
  }
  if (backup.origin == BackupOrigin::kAnotherFile) return refusalOfAnothersBackup(line, backup, file);
  return {};
}

std::string wordsForPlaces(const CommandLine& line) {
  std::string words;
  if (line.ignoresSettings) words += " --no-settings";
  if (!line.backupFile.empty()) words += " --backup-file " + shellWord(absolutePath(line.backupFile));
  if (!line.file.empty()) words += " " + shellWord(absolutePath(line.file));
  return words;
}

}  // namespace tarvel
