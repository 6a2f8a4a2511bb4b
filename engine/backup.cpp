// The file around a sort: paths, lock, date, backup, restore, and the replacement of one file by another.

#include "engine/backup.h"

#include <cerrno>

#include "engine/tarvel.h"
#include "platform/path_components.h"

namespace tarvel {

namespace {

constexpr const char* kDefaultBookmarksFilename = "~/Library/Safari/Bookmarks.plist";
constexpr const char* kBackupSuffix = ".bak";
/// Lies beside the bookmarks file while the browser uses it.
constexpr const char* kLockName = "/lock";

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
  // A removal that fails counts as failure although the target has been replaced: the caller asked for both.
  return fileManager.removeItemAtPath(replacementPath).ok();
}

/// Whether nothing is there for certain. A file that merely cannot be looked at must not go without its backup.
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

std::optional<std::string> Tarvel::bookmarksFilename() {
  if (!bookmarksFilename_) setBookmarksFilename(kDefaultBookmarksFilename);
  if (!platform_.fileManager.fileExistsAtPath(*bookmarksFilename_)) return std::nullopt;
  return bookmarksFilename_;
}

void Tarvel::setBookmarksFilename(const std::string& path) {
  bookmarksFilename_ = platform_.fileManager.stringByExpandingTildeInPath(path);
}

std::optional<std::string> Tarvel::backupFilename() {
  if (!backupFilename_) {
    const std::optional<std::string> path = bookmarksFilename();
    // Kept once derived: a later change of the bookmarks path does not change it.
    if (path) backupFilename_ = *path + kBackupSuffix;
  }
  return backupFilename_;
}

void Tarvel::setBackupFilename(const std::string& path) {
  backupFilename_ = platform_.fileManager.stringByExpandingTildeInPath(path);
}

bool Tarvel::isBookmarksFileLocked() {
  const std::optional<std::string> path = bookmarksFilename();
  return path && platform_.fileManager.fileExistsAtPath(deletingLastPathComponent(*path) + kLockName);
}

std::optional<FileDate> Tarvel::bookmarksFileModificationDate() {
  const std::optional<std::string> path = bookmarksFilename();
  if (!path) return std::nullopt;
  return platform_.fileManager.modificationDateAtPath(*path);
}

bool Tarvel::writeBackupFileForFilename(const std::string& filename) {
  const std::optional<std::string> backupPath = backupFilename();
  if (!backupPath) return !platform_.fileManager.fileExistsAtPath(filename);
  // Made once and then kept: the first copy is the one worth having.
  if (platform_.fileManager.fileExistsAtPath(*backupPath)) return true;
  if (isMissing(platform_.fileManager, filename)) return true;
  if (!platform_.fileManager.createDirectoryAtPath(deletingLastPathComponent(*backupPath)).ok()) return false;
  const FileStatus copied = platform_.fileManager.copyItemAtPathToPath(filename, *backupPath);
  // Another process may have made the backup meanwhile. It appears whole, so it counts like one that was there before.
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
