// Backup, restore, and the replacement of one file by another.

#include "engine/backup.h"

#include <cerrno>

#include "engine/tarvel.h"
#include "platform/path_components.h"

namespace tarvel {

namespace {

constexpr const char* kBackupSuffix = ".bak";

bool replaceInOneStep(FileManager& fileManager, SystemLog& systemLog, const std::string& targetPath,
                      const std::string& replacementPath) {
  const FileReplacement replacement = fileManager.replaceItem(targetPath, replacementPath);
  if (replacement.status.ok()) return true;
  if (!replacement.originalItemLocation) return false;
  const FileStatus putBack = fileManager.moveItem(*replacement.originalItemLocation, targetPath);
  if (!putBack.ok()) {
    systemLog.log("Error while trying to restore the original file (currently at “" +
                  *replacement.originalItemLocation + "”) reason: " + putBack.reason);
  }
  return false;
}

bool replaceByExchange(FileManager& fileManager, const std::string& targetPath, const std::string& replacementPath) {
  if (!fileManager.fileExistsAtPath(targetPath) || !fileManager.fileExistsAtPath(replacementPath)) return false;
  if (!fileManager.exchangeItems(replacementPath, targetPath).ok()) return false;
  // A failed removal is a failure even though the target has been replaced: the caller asked for both.
  return fileManager.removeItemAtPath(replacementPath).ok();
}

/// Whether the path certainly does not exist. A file that merely cannot be examined still needs its backup.
bool isMissing(FileManager& fileManager, const std::string& path) {
  if (fileManager.fileExistsAtPath(path)) return false;
  const int code = fileManager.attributesOfItemAtPath(path).status.code;
  return code == ENOENT || code == ENOTDIR;
}

}  // namespace

bool replaceItemAtPathWithItemAtPath(FileManager& fileManager, SystemLog& systemLog, const std::string& targetPath,
                                     const std::string& replacementPath) {
  if (!fileManager.offersReplaceItem()) return replaceByExchange(fileManager, targetPath, replacementPath);
  try {
    return replaceInOneStep(fileManager, systemLog, targetPath, replacementPath);
  } catch (const PlatformException&) {
    return false;
  }
}

std::optional<std::string> Tarvel::backupFilename() {
  if (!backupFilename_) {
    const std::optional<std::string> path = bookmarksFilename();
    // Derived once: a later change of the bookmarks path does not affect it.
    if (path) backupFilename_ = *path + kBackupSuffix;
  }
  return backupFilename_;
}

void Tarvel::setBackupFilename(const std::string& path) {
  backupFilename_ = platform_.fileManager.stringByExpandingTildeInPath(path);
}

bool Tarvel::writeBackupFileForFilename(const std::string& filename) {
  const std::optional<std::string> backupPath = backupFilename();
  if (!backupPath) return !platform_.fileManager.fileExistsAtPath(filename);
  // Never overwritten: the initial backup is the valuable one.
  if (platform_.fileManager.fileExistsAtPath(*backupPath)) return true;
  if (isMissing(platform_.fileManager, filename)) return true;
  if (!platform_.fileManager.createDirectoryAtPath(deletingLastPathComponent(*backupPath)).ok()) return false;
  const FileStatus copied = platform_.fileManager.copyItemAtPathToPath(filename, *backupPath);
  // Another process may have won the race. Its backup appears atomically, so it is complete.
  const bool isTaken = copied.code == EEXIST && platform_.fileManager.fileExistsAtPath(*backupPath);
  return copied.ok() || isTaken;
}

TarvelError Tarvel::restoreBackedUpBookmarks() {
  const std::optional<std::string> bookmarksPath = bookmarksFilename();
  if (!bookmarksPath) return TarvelErrorOutputFileNotFound;
  const std::optional<std::string> backupPath = backupFilename();
  if (!backupPath || !platform_.fileManager.fileExistsAtPath(*backupPath)) return TarvelErrorBookmarksFileNotFound;
  const bool isReplaced =
      replaceItemAtPathWithItemAtPath(platform_.fileManager, platform_.systemLog, *bookmarksPath, *backupPath);
  return isReplaced ? TarvelErrorNone : TarvelErrorWriteFailed;
}

}  // namespace tarvel
