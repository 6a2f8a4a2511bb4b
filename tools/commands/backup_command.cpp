// backup: dated copies of the bookmarks file.

#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <optional>
#include <vector>

#include "engine/tarvel.h"
#include "tools/backups/backup_store.h"
#include "tools/backups/command_paths.h"
#include "tools/commands/commands.h"
#include "tools/files/current_file.h"
#include "tools/report/backup_list.h"
#include "tools/terminal/shown_progress.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

std::string quoted(std::string_view text) { return "“" + printable(text) + "”"; }

int complain(const Platform& platform, const CommandLine& line, TarvelError code, const std::string& file,
             const std::string& reason = {}) {
  const Painter painter(usesColor(line.color, STDERR_FILENO));
  std::cerr << painter.red(Tarvel::stringFromTarvelErrorAndFilename(platform.bundle, code, printable(file))) << "\n";
  if (!reason.empty()) std::cerr << printable(reason) << "\n";
  return code;
}

int complainOfFolder(const BackupStore& copies, const FileStatus& status) {
  std::cerr << "tarvel: The copies in " << quoted(copies.folder())
            << " could not be looked at: " << printable(status.reason) << "\n";
  return TarvelErrorReadFailed;
}

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

int makeBackup(const Platform& platform, const CommandLine& line, const BackupStore& copies, const std::string& path) {
  std::optional<ShownProgress> shown(platform);
  const CurrentFile file = readCurrentFile(platform, path);
  std::optional<std::size_t> bookmarks;
  if (file.code == TarvelErrorNone) bookmarks = bookmarkCount(platform, file.reading.data);
  KeptBackup made;
  if (bookmarks) made = copies.keep(file.reading.data);
  shown.reset();
  if (file.code != TarvelErrorNone) return complain(platform, line, file.code, path, file.reading.status.reason);
  if (!bookmarks) return complain(platform, line, TarvelErrorNotBookmarksFile, path);
  if (!made.status.ok()) return complain(platform, line, TarvelErrorBackupFailed, copies.folder(), made.status.reason);
  if (!made.isNew) {
    std::cout << "The newest copy " << quoted(made.copy.path) << " is the same to the last byte; no other was made.\n";
    return 0;
  }
  std::cout << "The copy " << quoted(made.copy.path) << " was made (" << counted(*bookmarks, "bookmark", "bookmarks")
            << ").\nTo have it back: tarvel restore --from " << shellWord(made.copy.name) << wordsForPlaces(line)
            << "\n";
  return 0;
}

int listBackups(const Platform& platform, const CommandLine& line, const BackupStore& copies, const std::string& path,
                const std::string& initialBackup) {
  std::optional<ShownProgress> shown(platform);
  const BackupList list = backupList(shown->platform(), path, initialBackup, copies);
  shown.reset();
  if (!list.status.ok()) return complainOfFolder(copies, list.status);
  std::cout << (line.json ? backupListAsJson(list) : backupListAsText(list));
  return 0;
}

/// `newerOnes` of the whole copies are newer; the newest one always stays.
bool mayGo(const Backup& copy, std::size_t newerOnes, const BackupOptions& options, std::int64_t now) {
  if (newerOnes == 0 || (options.keep && newerOnes < *options.keep)) return false;
  return !options.olderThan || now - copy.time.seconds > *options.olderThan;
}

struct Pruning {
  /// The newest first, as all of them.
  std::vector<Backup> toGo;
  /// What a restore has kept of a broken file is the only one there is.
  std::vector<Backup> noBookmarks;
};

/// Everything is looked at before the first one goes.
Pruning planPruning(const Platform& platform, const BackupOptions& options, const std::vector<Backup>& copies) {
  const ShownProgress shown(platform);
  const std::int64_t now = platform.clock.wallClock().seconds;
  Pruning pruning;
  std::size_t whole = 0;
  for (auto copy = copies.rbegin(); copy != copies.rend(); ++copy) {
    const FileReading reading = platform.fileManager.contentsAtPath(copy->path);
    if (!reading.status.ok() || !bookmarkCount(platform, reading.data)) {
      pruning.noBookmarks.push_back(*copy);
    } else if (mayGo(*copy, whole++, options, now)) {
      pruning.toGo.push_back(*copy);
    }
  }
  return pruning;
}

int pruneBackups(const Platform& platform, const CommandLine& line, const BackupStore& copies) {
  const BackupListing listing = copies.list();
  if (!listing.status.ok()) return complainOfFolder(copies, listing.status);
  const Pruning pruning = planPruning(platform, line.copies, listing.copies);
  const bool isDry = line.copies.isDryRun;
  std::size_t removed = 0;
  for (const Backup& copy : pruning.noBookmarks) {
    std::cout << "left alone, as it cannot be read as a bookmarks file: " << quoted(copy.name) << "\n";
  }
  for (const Backup& copy : pruning.toGo) {
    const FileStatus gone = isDry ? FileStatus{} : platform.fileManager.removeItemAtPath(copy.path);
    // Somebody else prunes at the same time.
    if (gone.ok() || gone.code == ENOENT) {
      ++removed;
      std::cout << (isDry ? "would be removed: " : "removed: ") << quoted(copy.name) << "\n";
    } else {
      std::cerr << "tarvel: " << quoted(copy.path) << " could not be removed: " << printable(gone.reason) << "\n";
    }
  }
  std::cout << counted(removed, "copy", "copies") << (isDry ? " would be removed, " : " removed, ")
            << listing.copies.size() - removed << (isDry ? " would stay.\n" : " stay.\n");
  return removed == pruning.toGo.size() ? 0 : kExitFailed;
}

}  // namespace

int runBackup(const Platform& platform, const CommandLine& line, const CommandSettings& settings) {
  const std::string file = bookmarksFilePath(platform.fileManager, line, settings);
  const std::string initialBackup = backupOf(platform.fileManager, line, settings).path;
  const BackupStore copies(platform, initialBackup, file);
  switch (line.copies.action) {
    case BackupAction::kMake:
      return makeBackup(platform, line, copies, file);
    case BackupAction::kList:
      return listBackups(platform, line, copies, file, initialBackup);
    case BackupAction::kPrune:
      return pruneBackups(platform, line, copies);
  }
  return kExitUsage;
}

}  // namespace tarvel
