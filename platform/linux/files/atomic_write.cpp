// Writes a whole file: atomically through a new file, or in place where a new file would lose something.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "platform/linux/base/safe_text.h"
#include "platform/linux/base/signal_hold.h"
#include "platform/linux/files/directory_lock.h"
#include "platform/linux/files/displaced_file.h"
#include "platform/linux/files/file_attributes.h"
#include "platform/linux/files/file_io.h"
#include "platform/linux/files/file_place.h"
#include "platform/linux/files/file_reading.h"
#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/files/open_writers.h"
#include "platform/linux/files/stale_files.h"
#include "platform/linux/files/temporary_file.h"
#include "platform/linux/files/undo_journal.h"

namespace tarvel {

namespace {

/// Whether a new file may replace the old one without breaking a hard link. Whether the folder permits the rename (a
/// sticky one may not) shows when it is tried; only an immutable or append-only folder is excluded here, as it would
/// also keep the temporary name.
bool mayBeReplaced(const FilePlace& place, const struct stat& old) {
  return old.st_nlink == 1 && ::faccessat(place.folder.get(), ".", W_OK | X_OK, AT_EACCESS) == 0 &&
         !keepsItsEntries(place.folder.get());
}

/// Whether a failure concerns the folder's entries rather than the file's bytes.
bool isFolderRefusal(int code) { return code == EACCES || code == EPERM || code == EROFS || code == EBUSY; }

/// Copies owner, mode, extended attributes and ACLs to the new file; false if that is not permitted.
bool copyMetadataOf(const struct stat& old, int oldFd, int newFd) {
  struct stat now {};
  if (::fstat(newFd, &now) != 0) return false;
  const bool hasOwner = now.st_uid == old.st_uid && now.st_gid == old.st_gid;
  if (!hasOwner && ::fchown(newFd, old.st_uid, old.st_gid) != 0) return false;
  if (!matchAttributes(oldFd, newFd)) return false;
  return ::fchmod(newFd, old.st_mode & 07777) == 0;
}

/// The mtime of the open file; none on failure.
std::optional<FileDate> dateOf(int fd) {
  const std::optional<FileVersion> version = versionOf(fd);
  return version ? std::optional(version->date) : std::nullopt;
}

FileStatus hasChanged(const std::string& path) {
  return {kFileHasChanged, quotedText(path) + ": Another program has changed the file or has it open for writing."};
}

/// Whether the file still has the version that was read and no process has it open for writing. Always true without a
/// version.
bool mayBeWrittenOver(int folder, const std::string& name, int fd, const std::optional<FileVersion>& readVersion) {
  return !readVersion || (versionOf(folder, name) == readVersion && writersOf(fd) != Writers::kSome);
}

/// Renames the new file over the target.
FileStatus replace(TemporaryFile& file, const FilePlace& place, const std::string& path) {
  if (!file.replace(place.name)) return fileFailure(path);
  syncFolder(place.folder.get());
  return {};
}

/// Replaces the file that was read. The two names are exchanged, and the displaced file is checked once no program can
/// open it by its name any more; a concurrent write is put back. `oldFd` keeps the old inode number from being reused.
FileStatus exchangeIntoPlace(TemporaryFile& file, const FilePlace& place, int oldFd, const FileVersion& readVersion,
                             const std::string& path) {
  const int folder = place.folder.get();
  const std::optional<FileVersion> own = versionOf(file.fd());
  if (!own) return fileFailure(path);
  const std::string displaced = makeDisplacedName(place.name, readVersion, *own);
  if (displaced.empty()) return fileFailure(path);
  // As late as possible, to avoid needless exchanges: each one wakes all watchers of the folder.
  if (!mayBeWrittenOver(folder, place.name, oldFd, readVersion)) return hasChanged(path);
  const SignalHold hold;
  if (!file.exchange(place.name, displaced)) {
    // Without RENAME_EXCHANGE, a concurrent write between the check and the rename goes unnoticed.
    const bool isUnsupported = errno == EINVAL || errno == ENOSYS;
    return isUnsupported ? replace(file, place, path) : fileFailure(path);
  }
  // The new name is on disk before the old file is removed. A program that was just opening the old file has it open
  // after the fsync and is detected.
  syncFolder(folder);
  return settle(place, displaced) == Settlement::kReplaced ? FileStatus{} : hasChanged(path);
}

FileStatus writeNewFile(const DataPieces& data, const FilePlace& place, const std::string& path,
                        std::optional<FileDate>& writtenDate) {
  tidyIfFree(place.folder.get());
  TemporaryFile file(place.folder.get(), kPrivate);
  if (!file) return fileFailure(path);
  if (!writePieces(file.fd(), data) || ::fsync(file.fd()) != 0) return fileFailure(path);
  waitForLaterTimestamp(file.fd());
  writtenDate = dateOf(file.fd());
  // Another process may have created the file meanwhile; the last write wins.
  if (!file.linkNoReplace(place.name)) return errno == EEXIST ? replace(file, place, path) : fileFailure(path);
  syncFolder(place.folder.get());
  return {};
}

/// The old bytes, to restore if overwriting fails. None with errno set on failure.
std::optional<Data> readOldBytes(int fd, std::size_t size) {
  std::shared_ptr<std::uint8_t> bytes = allocateBuffer(std::max<std::size_t>(size, 1));
  if (!bytes) {
    errno = ENOMEM;
    return std::nullopt;
  }
  const ssize_t got = readUpTo(fd, bytes.get(), size);
  if (got < 0) return std::nullopt;
  if (static_cast<std::size_t>(got) == size) return Data(std::move(bytes), size);
  errno = EIO;  // The file shrank.
  return std::nullopt;
}

/// Allocates the space before the first byte is overwritten, so that a full disk fails early.
bool reserve(int fd, off_t oldSize, off_t newSize) {
  if (newSize == 0) return true;
  int answer = 0;
  do {
    answer = ::fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, newSize);
  } while (answer != 0 && errno == EINTR);
  if (answer == 0) return true;
  if (errno != EOPNOTSUPP && errno != ENOSYS) return false;
  if (newSize <= oldSize) return true;
  do {
    errno = ::posix_fallocate(fd, oldSize, newSize - oldSize);
  } while (errno == EINTR);
  return errno == 0;
}

/// Compares everything but the ctime.
bool isSameContent(std::optional<FileVersion> now, const FileVersion& read) {
  if (now) now->inodeDate = read.inodeDate;
  return now == read;
}

/// Restores size and bytes after a failure; keeps errno.
void putBack(int fd, const Data& oldBytes, bool wereOverwritten) {
  const int code = errno;
  if (wereOverwritten) (void)writeAt(fd, oldBytes.bytes(), 0);
  // If this fails too, nothing else can be done.
  if (::ftruncate(fd, static_cast<off_t>(oldBytes.size())) == 0) (void)::fsync(fd);
  errno = code;
}

FileStatus writeInPlace(const DataPieces& data, const FilePlace& place, const std::optional<FileVersion>& readVersion,
                        const std::string& path, std::optional<FileDate>& writtenDate) {
  const UniqueFd fd(::openat(place.folder.get(), place.name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  // Check the opened file: the path may have changed since the lookup.
  struct stat old {};
  if (!fd || ::fstat(fd.get(), &old) != 0) return fileFailure(path);
  if (!S_ISREG(old.st_mode)) return fileFailure(EINVAL, path);
  const std::optional<Data> oldBytes = readOldBytes(fd.get(), static_cast<std::size_t>(old.st_size));
  if (!oldBytes) return fileFailure(path);
  const auto size = static_cast<off_t>(data.size());
  const SignalHold hold;
  const UndoJournal record(place, fd.get(), *oldBytes, data);
  // In a folder that permits no journal the write cannot be undone, but there is no other way to write.
  if (!record && !isFolderRefusal(errno)) return fileFailure(path);
  // Last check before this write changes the mtime: reserving space changes it already. The journal may have changed
  // the ctime.
  if (readVersion && !isSameContent(versionOf(fd.get()), *readVersion)) return hasChanged(path);
  if (!reserve(fd.get(), old.st_size, size)) {
    putBack(fd.get(), *oldBytes, false);
    return fileFailure(path);
  }
  const bool isWritten = writePieces(fd.get(), data) && ::ftruncate(fd.get(), size) == 0;
  // Before the fsync, which takes time: a concurrent write during it gets another mtime.
  if (isWritten) writtenDate = dateOf(fd.get());
  if (!isWritten || ::fsync(fd.get()) != 0) {
    putBack(fd.get(), *oldBytes, true);
    return fileFailure(path);
  }
  syncFolder(place.folder.get());
  waitForLaterTimestamp(fd.get());
  return {};
}

FileStatus writeBeside(const DataPieces& data, const FilePlace& place, const struct stat& old, int oldFd,
                       const std::optional<FileVersion>& readVersion, const std::string& path,
                       std::optional<FileDate>& writtenDate) {
  TemporaryFile file(place.folder.get(), kPrivate);
  if (!file) return fileFailure(path);
  // Metadata that a new file cannot have is kept by writing in place.
  if (!copyMetadataOf(old, oldFd, file.fd())) return fileFailure(EPERM, path);
  if (!writePieces(file.fd(), data) || ::fsync(file.fd()) != 0) return fileFailure(path);
  waitForLaterTimestamp(file.fd());
  writtenDate = dateOf(file.fd());
  return readVersion ? exchangeIntoPlace(file, place, oldFd, *readVersion, path) : replace(file, place, path);
}

FileStatus writeOver(const DataPieces& data, const FilePlace& place, const std::optional<FileVersion>& readVersion,
                     const std::string& path, std::optional<FileDate>& writtenDate) {
  // A rename would succeed even without write permission on the file; the permission is respected.
  if (::faccessat(place.folder.get(), place.name.c_str(), W_OK, AT_EACCESS) != 0) return fileFailure(path);
  const UniqueFd oldFd(
      ::openat(place.folder.get(), place.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat old {};
  if (!oldFd || ::fstat(oldFd.get(), &old) != 0) return fileFailure(path);
  const DirectoryLock lock = lockDirectory(place.folder.get());
  if (lock == DirectoryLock::kHeld) (void)tidyFolder(place.folder.get(), place.name);
  if (lock == DirectoryLock::kImpossible) tidyIfFree(place.folder.get());
  // Another of our processes is writing, and the file must be as it was read.
  if (lock == DirectoryLock::kBusy && readVersion) return hasChanged(path);
  if (!S_ISREG(old.st_mode) || !mayBeReplaced(place, old)) {
    if (!mayBeWrittenOver(place.folder.get(), place.name, oldFd.get(), readVersion)) return hasChanged(path);
    return writeInPlace(data, place, readVersion, path, writtenDate);
  }
  FileStatus status = writeBeside(data, place, old, oldFd.get(), readVersion, path, writtenDate);
  // The folder refuses a name, or the exchange of this one, as for a mount point.
  return isFolderRefusal(status.code) ? writeInPlace(data, place, readVersion, path, writtenDate) : std::move(status);
}

FileStatus writeToPlace(const DataPieces& data, const FilePlace& place, const std::optional<FileVersion>& readVersion,
                        const std::string& path, std::optional<FileDate>& writtenDate) {
  if (!place.folder) return fileFailure(path);
  struct stat old {};
  if (::fstatat(place.folder.get(), place.name.c_str(), &old, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno != ENOENT) return fileFailure(path);
    return readVersion ? hasChanged(path) : writeNewFile(data, place, path, writtenDate);
  }
  if (S_ISDIR(old.st_mode)) return fileFailure(EISDIR, path);
  if (!S_ISREG(old.st_mode)) return fileFailure(EINVAL, path);
  FileStatus status = writeOver(data, place, readVersion, path, writtenDate);
  // Deleted meanwhile, by a program that is about to recreate it.
  return readVersion && status.code == ENOENT ? hasChanged(path) : std::move(status);
}

}  // namespace

FileStatus LinuxFileManager::writeDataToPath(const DataPieces& data, const std::string& path,
                                             const std::optional<FileVersion>& readVersion,
                                             std::optional<FileDate>* writtenDate) {
  std::optional<FileDate> date;
  const FileStatus status = writeToPlace(data, followLinks(path), readVersion, path, date);
  if (writtenDate != nullptr) *writtenDate = status.ok() ? date : std::nullopt;
  return status;
}

FileStatus LinuxFileManager::replaceOwnFileAtPath(const DataPieces& data, const std::string& path,
                                                  const FileVersion& version) {
  const FilePlace place = placeOf(path);
  // The version is that of a regular file of the user's own, so a match excludes links and other users' files.
  if (place.folder && versionOf(place.folder.get(), place.name) != version) return hasChanged(path);
  std::optional<FileDate> date;
  return writeToPlace(data, place, version, path, date);
}

}  // namespace tarvel
