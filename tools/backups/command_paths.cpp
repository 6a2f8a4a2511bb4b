#include "tools/backups/command_paths.h"

#include "settings/preference_keys.h"
#include "tools/files/paths.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

bool usesBackup(const CommandLine& line) {
  const bool takesPart = line.command == Command::kSort || line.command == Command::kPreview ||
                         line.command == Command::kRestore || line.command == Command::kBackup;
  return takesPart && line.file != kStandardInput;
}

/// A backup of a backup would do no harm, and be of no use.
bool writesFile(Command command) { return command == Command::kSort || command == Command::kRestore; }

Message refusalOfAnothersBackup(const CommandLine& line, const InitialBackup& backup, const std::string& file) {
  Message refusal{{quotedPath(backup.path) + " is the backup of " + quotedPath(backup.madeOf) + ", not of " +
                   quotedPath(file) + "."},
                  {}};
  if (line.command == Command::kRestore) {
    refusal.sentences.insert(refusal.sentences.end(), {kNothingChanged, "To put it there all the same:"});
    refusal.command = "tarvel restore --from " + shellWord(backup.path) + " " + shellWord(file);
  } else {
    refusal.sentences.insert(refusal.sentences.end(),
                             {"Name another one with --backup-file, or leave that option out.", kNothingChanged});
  }
  return refusal;
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

Message refusalOfPaths(FileManager& files, const CommandLine& line, const CommandSettings& settings) {
  if (!usesBackup(line)) return {};
  const std::string file = bookmarksFilePath(files, line, settings);
  const InitialBackup backup = backupOf(files, line, settings);
  if (isSameFile(file, backup.path)) {
    return {{"The backup " + quotedPath(backup.path) + " is the bookmarks file itself.",
             "Name another one with --backup-file.", kNothingChanged},
            {}};
  }
  if (writesFile(line.command) && isKeptBackup(files, file, backup.path)) {
    return {{quotedPath(file) + " is a backup, and backups stay as they are.", kNothingChanged, "To look into it:"},
            "tarvel preview " + shellWord(file)};
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
