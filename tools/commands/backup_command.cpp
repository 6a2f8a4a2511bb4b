// backup: dated backups of the bookmarks file.

#include <cerrno>
#include <optional>
#include <vector>

#include "engine/tarvel.h"
#include "tools/backups/backup_choice.h"
#include "tools/backups/backup_store.h"
#include "tools/backups/command_paths.h"
#include "tools/commands/commands.h"
#include "tools/files/current_file.h"
#include "tools/report/backup_list.h"
#include "tools/report/failure_text.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/shown_progress.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

int createBackup(Answer& answer, const Platform& platform, const CommandLine& line, const BackupStore& store,
                 const std::string& path) {
  answer["file"] = path;
  std::optional<ShownProgress> shown(platform);
  const CurrentFile file = readCurrentFile(platform, path);
  std::optional<std::size_t> bookmarks;
  if (file.code == TarvelErrorNone) bookmarks = bookmarkCount(platform, file.reading.data);
  KeptBackup kept;
  if (bookmarks) kept = store.keep(file.reading.data);
  shown.reset();
  const TarvelError code = file.code != TarvelErrorNone ? file.code : TarvelErrorNotBookmarksFile;
  if (!bookmarks) {
    return answer.fail(code, messageOf(platform, failureOf(platform, code, path)));
  }
  if (!kept.status.ok()) {
    const std::string reason = reasonOf(kept.status);
    return answer.fail(TarvelErrorBackupFailed, messageOf(platform, {TarvelErrorBackupFailed, store.folder(), reason}));
  }
  answer["backup"] = kept.backup.path;
  answer["bookmarks"] = *bookmarks;
  answer["made"] = kept.isNew;
  if (!kept.isNew) {
    answer.say("The newest backup " + quotedPath(kept.backup.path) + " has the same contents; no other was made.");
    return answer.end(0);
  }
  answer.say("The backup " + quotedPath(kept.backup.path) + " was made (" +
             counted(*bookmarks, "bookmark", "bookmarks") + ").");
  answer.hint("To put it back:", "tarvel restore --from " + shellWord(kept.backup.name) + wordsForPlaces(line));
  return answer.end(0);
}

int listBackups(Answer& answer, const Platform& platform, const CommandLine& line, const BackupStore& store,
                const std::string& path, const std::string& initialBackup) {
  std::optional<ShownProgress> shown(platform);
  const BackupList list = backupList(shown->platform(), path, initialBackup, store);
  shown.reset();
  if (!list.status.ok()) return answer.fail(TarvelErrorReadFailed, backupsNotListed(store, list.status));
  answer.page();
  answerWith(answer, list, wordsForPlaces(line));
  return answer.end(0);
}

/// `newerOnes` of the readable backups are newer; the newest one always stays.
bool mayGo(const Backup& backup, std::size_t newerOnes, const BackupOptions& options, std::int64_t now) {
  if (newerOnes == 0 || (options.keep && newerOnes < *options.keep)) return false;
  return !options.olderThan || now - backup.time.seconds > *options.olderThan;
}

struct Pruning {
  /// The newest first.
  std::vector<Backup> toGo;
  /// A broken file that a restore has saved exists nowhere else, so it stays.
  std::vector<Backup> unreadable;
};

/// Everything is read before the first backup is removed.
Pruning planPruning(const Platform& platform, const BackupOptions& options, const std::vector<Backup>& backups) {
  const ShownProgress shown(platform);
  const std::int64_t now = platform.clock.wallClock().seconds;
  Pruning pruning;
  std::size_t readable = 0;
  for (auto backup = backups.rbegin(); backup != backups.rend(); ++backup) {
    const FileReading reading = platform.fileManager.contentsAtPath(backup->path);
    if (!reading.status.ok() || !bookmarkCount(platform, reading.data)) {
      pruning.unreadable.push_back(*backup);
    } else if (mayGo(*backup, readable++, options, now)) {
      pruning.toGo.push_back(*backup);
    }
  }
  return pruning;
}

std::string prunedText(std::size_t removed, std::size_t kept, bool isDryRun) {
  if (removed + kept == 0) return "There are no backups to prune.";
  const std::string text = removed == 0 ? "No backups" : counted(removed, "backup", "backups");
  if (isDryRun) return text + " would be removed, " + std::to_string(kept) + " would stay.";
  return text + " removed, " + std::to_string(kept) + (kept == 1 ? " stays." : " stay.");
}

int pruneBackups(Answer& answer, const Platform& platform, const CommandLine& line, const BackupStore& store) {
  const BackupListing listing = store.list();
  if (!listing.status.ok()) return answer.fail(TarvelErrorReadFailed, backupsNotListed(store, listing.status));
  const Pruning pruning = planPruning(platform, line.backups, listing.backups);
  Answer::Json removed = Answer::Json::array();
  for (const Backup& backup : pruning.unreadable) {
    if (line.output.isQuiet) break;
    answer.print("kept, since it is not a readable bookmarks file: " + quotedText(backup.name) + "\n");
  }
  for (const Backup& backup : pruning.toGo) {
    const FileStatus gone = line.isDryRun ? FileStatus{} : platform.fileManager.removeItemAtPath(backup.path);
    // Another process may prune at the same time.
    if (gone.ok() || gone.code == ENOENT) {
      removed.push_back(backup.name);
      if (!line.output.isQuiet) {
        answer.print((line.isDryRun ? "would be removed: " : "removed: ") + quotedText(backup.name) + "\n");
      }
    } else {
      answer.complain({{quotedPath(backup.path) + " could not be removed.", reasonOf(gone)}, {}});
    }
  }
  const std::size_t count = removed.size();
  answer["dryRun"] = line.isDryRun;
  answer["removed"] = std::move(removed);
  answer["kept"] = listing.backups.size() - count;
  answer.say(prunedText(count, listing.backups.size() - count, line.isDryRun));
  return answer.end(count == pruning.toGo.size() ? 0 : kExitFailed);
}

}  // namespace

int runBackup(const Platform& platform, const CommandLine& line, const CommandSettings& settings) {
  Answer answer(line.name, line.output);
  const std::string file = bookmarksFilePath(platform.fileManager, line, settings);
  const std::string initialBackup = backupOf(platform.fileManager, line, settings).path;
  const BackupStore store(platform, initialBackup, file);
  switch (line.backups.action) {
    case BackupAction::kCreate:
      return createBackup(answer, platform, line, store, file);
    case BackupAction::kList:
      return listBackups(answer, platform, line, store, file, initialBackup);
    case BackupAction::kPrune:
      return pruneBackups(answer, platform, line, store);
  }
  return kExitUsage;
}

}  // namespace tarvel
