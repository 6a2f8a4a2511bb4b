// backup: dated copies of the bookmarks file.

#include <unistd.h>

#include <iostream>
#include <optional>

#include "engine/tarvel.h"
#include "platform/path_components.h"
#include "tools/backup_list.h"
#include "tools/commands.h"
#include "tools/current_file.h"
#include "tools/dated_copies.h"
#include "tools/shown_progress.h"

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

int complainOfFolder(const DatedCopies& copies, const FileStatus& status) {
  std::cerr << "tarvel: The copies in " << quoted(copies.folder())
            << " could not be looked at: " << printable(status.reason) << "\n";
  return TarvelErrorReadFailed;
}

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

int makeCopy(const Platform& platform, const CommandLine& line, const DatedCopies& copies) {
  const std::string path = bookmarksFilePath(platform, line);
  const CurrentFile file = readCurrentFile(platform, path);
  if (file.code != TarvelErrorNone) return complain(platform, line, file.code, path, file.reading.status.reason);
  const std::optional<std::size_t> bookmarks = bookmarkCount(platform, file.reading.data);
  if (!bookmarks) return complain(platform, line, TarvelErrorNotBookmarksFile, path);
  const CopyMaking made = copies.keep(file.reading.data, EarlierCopy::kNewest);
  if (!made.status.ok()) return complain(platform, line, TarvelErrorBackupFailed, copies.folder(), made.status.reason);
  if (!made.isNew) {
    std::cout << "The newest copy " << quoted(made.copy.path) << " is the same to the last byte; no other was made.\n";
    return 0;
  }
  std::cout << "The copy " << quoted(made.copy.path) << " was made (" << counted(*bookmarks, "bookmark", "bookmarks")
            << ").\nTo have it back: tarvel restore --from '" << made.copy.name << "'\n";
  return 0;
}

int listCopies(const Platform& platform, const CommandLine& line, const DatedCopies& copies) {
  std::optional<ShownProgress> shown(platform);
  const BackupList list =
      backupList(shown->platform(), bookmarksFilePath(platform, line), backupFilePath(platform, line), copies);
  shown.reset();
  if (!list.status.ok()) return complainOfFolder(copies, list.status);
  std::cout << (line.json ? backupListAsJson(list) : backupListAsText(list));
  return 0;
}

/// `newerOnes` of the whole copies are newer; the newest one always stays.
bool mayGo(const DatedCopy& copy, std::size_t newerOnes, const CopyOptions& options, std::int64_t now) {
  if (newerOnes == 0 || (options.keep && newerOnes < *options.keep)) return false;
  return !options.olderThan || now - copy.time.seconds > *options.olderThan;
}

int pruneCopies(const Platform& platform, const CommandLine& line, const DatedCopies& copies) {
  const DatedCopyListing listing = copies.list();
  if (!listing.status.ok()) return complainOfFolder(copies, listing.status);
  const std::int64_t now = platform.clock.wallClock().seconds;
  std::size_t whole = 0;
  std::size_t removed = 0;
  int status = 0;
  for (auto copy = listing.copies.rbegin(); copy != listing.copies.rend(); ++copy) {
    const FileReading reading = platform.fileManager.contentsAtPath(copy->path);
    if (!reading.status.ok() || !bookmarkCount(platform, reading.data)) {
      // What a restore has kept of a broken file is the only one there is.
      std::cout << "left alone, as it is no bookmarks file: " << quoted(copy->name) << "\n";
      continue;
    }
    if (!mayGo(*copy, whole++, line.copies, now)) continue;
    const FileStatus gone = line.copies.isDryRun ? FileStatus{} : platform.fileManager.removeItemAtPath(copy->path);
    if (gone.ok()) {
      ++removed;
      std::cout << (line.copies.isDryRun ? "would be removed: " : "removed: ") << quoted(copy->name) << "\n";
    } else {
      std::cerr << "tarvel: " << quoted(copy->path) << " could not be removed: " << printable(gone.reason) << "\n";
      status = kExitFailed;
    }
  }
  std::cout << counted(removed, "copy", "copies") << (line.copies.isDryRun ? " would be removed, " : " removed, ")
            << listing.copies.size() - removed << (line.copies.isDryRun ? " would stay.\n" : " stay.\n");
  return status;
}

}  // namespace

int runBackup(const Platform& platform, const CommandLine& line) {
  const DatedCopies copies(platform, deletingLastPathComponent(backupFilePath(platform, line)),
                           bookmarksFilePath(platform, line));
  switch (line.copies.action) {
    case BackupAction::kMake:
      return makeCopy(platform, line, copies);
    case BackupAction::kList:
      return listCopies(platform, line, copies);
    case BackupAction::kPrune:
      return pruneCopies(platform, line, copies);
  }
  return kExitUsage;
}

}  // namespace tarvel
