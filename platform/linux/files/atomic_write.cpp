// Writing a whole file: a new file takes the old one's place, or, where that would lose something, the bytes are
// replaced in place.

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

/// Whether a new file may take the old one's place without breaking a link. Whether the folder lets it, as a sticky one
/// may not, shows when it is tried; only a folder that keeps its entries would also keep the temporary name.
bool mayBeReplaced(const FilePlace& place, const struct stat& old) {
  return old.st_nlink == 1 && ::faccessat(place.folder.get(), ".", W_OK | X_OK, AT_EACCESS) == 0 &&
         !keepsItsEntries(place.folder.get());
}

/// Whether a failure is about names in the folder, not about the file's bytes.
bool isFolderRefusal(int code) { return code == EACCES || code == EPERM || code == EROFS || code == EBUSY; }

/// Gives the new file the old one's owner, mode, extended attributes and access lists; false when it cannot have them.
bool copyMetadataOf(const struct stat& old, int oldFd, int newFd) {
  struct stat now {};
  if (::fstat(newFd, &now) != 0) return false;
  const bool hasOwner = now.st_uid == old.st_uid && now.st_gid == old.st_gid;
  if (!hasOwner && ::fchown(newFd, old.st_uid, old.st_gid) != 0) return false;
  if (!matchAttributes(oldFd, newFd)) return false;
  return ::fchmod(newFd, old.st_mode & 07777) == 0;
}

/// The date of the open file; none where it cannot be had.
std::optional<FileDate> dateOf(int fd) {
  const std::optional<FileVersion> version = versionOf(fd);
  return version ? std::optional(version->date) : std::nullopt;
}

FileStatus hasChanged(const std::string& path) {
  return {kFileHasChanged, quotedText(path) + ": Another program has changed the file or has it open for writing."};
}

/// Whether the file is the one that was read, unchanged, and no program is about to change it. Without such a version:
/// always.
bool mayBeWrittenOver(int folder, const std::string& name, int fd, const std::optional<FileVersion>& readVersion) {
  return !readVersion || (versionOf(folder, name) == readVersion && writersOf(fd) != Writers::kSome);
}

/// Puts the new file in place of whatever has its name.
FileStatus replace(TemporaryFile& file, const FilePlace& place, const std::string& path) {
  if (!file.replace(place.name)) return fileFailure(path);
  syncFolder(place.folder.get());
  return {};
}

/// Puts the new file in the place of the one that was read. The two names are exchanged, and what comes out is looked
/// at when no program can open it by its name any more; another program's save goes back. `oldFd` keeps the inode
/// number of the old file from being used again.
FileStatus exchangeIntoPlace(TemporaryFile& file, const FilePlace& place, int oldFd, const FileVersion& readVersion,
                             const std::string& path) {
  const int folder = place.folder.get();
  const std::optional<FileVersion> own = versionOf(file.fd());
  if (!own) return fileFailure(path);
  const std::string displaced = makeDisplacedName(place.name, readVersion, *own);
  if (displaced.empty()) return fileFailure(path);
  // As late as possible, so that names are rarely exchanged in vain: every exchange wakes those who watch the folder.
  if (!mayBeWrittenOver(folder, place.name, oldFd, readVersion)) return hasChanged(path);
  const SignalHold hold;
  if (!file.exchange(place.name, displaced)) {
    // Without exchanges a change between the look and this goes unseen.
    const bool isUnsupported = errno == EINVAL || errno == ENOSYS;
    return isUnsupported ? replace(file, place, path) : fileFailure(path);
  }
  // The new file is in its place for good before the old one goes. A program that was just opening the old one has it
  // open after this, and is seen.
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
  // Somebody may have made the file meanwhile; the last one counts.
  if (!file.linkNoReplace(place.name)) return errno == EEXIST ? replace(file, place, path) : fileFailure(path);
  syncFolder(place.folder.get());
  return {};
}

/// The old bytes, to be put back should overwriting them fail. None with errno set when they cannot be had.
std::optional<Data> readOldBytes(int fd, std::size_t size) {
  std::shared_ptr<std::uint8_t> bytes = allocateBuffer(std::max<std::size_t>(size, 1));
  if (!bytes) {
    errno = ENOMEM;
    return std::nullopt;
  }
  const ssize_t got = readUpTo(fd, bytes.get(), size);
  if (got < 0) return std::nullopt;
  if (static_cast<std::size_t>(got) == size) return Data(std::move(bytes), size);
  errno = EIO;  // It shrank meanwhile.
  return std::nullopt;
}

/// Takes the space before a byte is overwritten, so that a full disk is noticed in time.
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

/// Whether nothing but the date of the inode differs.
bool isSameContent(std::optional<FileVersion> now, const FileVersion& read) {
  if (now) now->inodeDate = read.inodeDate;
  return now == read;
}

/// Restores size and bytes after a failure, which errno goes on naming.
void putBack(int fd, const Data& oldBytes, bool wereOverwritten) {
  const int code = errno;
  if (wereOverwritten) (void)writeAt(fd, oldBytes.bytes(), 0);
  // Nothing is left to try when even this fails.
  if (::ftruncate(fd, static_cast<off_t>(oldBytes.size())) == 0) (void)::fsync(fd);
  errno = code;
}

FileStatus writeInPlace(const DataPieces& data, const FilePlace& place, const std::optional<FileVersion>& readVersion,
                        const std::string& path, std::optional<FileDate>& writtenDate) {
  const UniqueFd fd(::openat(place.folder.get(), place.name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  // What was opened counts, not what was there a moment ago.
  struct stat old {};
  if (!fd || ::fstat(fd.get(), &old) != 0) return fileFailure(path);
  if (!S_ISREG(old.st_mode)) return fileFailure(EINVAL, path);
  const std::optional<Data> oldBytes = readOldBytes(fd.get(), static_cast<std::size_t>(old.st_size));
  if (!oldBytes) return fileFailure(path);
  const auto size = static_cast<off_t>(data.size());
  const SignalHold hold;
  const UndoJournal record(place, fd.get(), *oldBytes, data);
  // In a folder that takes no record there is no way back, and still no other way to write.
  if (!record && !isFolderRefusal(errno)) return fileFailure(path);
  // The last look before the date becomes that of this write: taking space changes it already. The record may have
  // changed the inode's date.
  if (readVersion && !isSameContent(versionOf(fd.get()), *readVersion)) return hasChanged(path);
  if (!reserve(fd.get(), old.st_size, size)) {
    putBack(fd.get(), *oldBytes, false);
    return fileFailure(path);
  }
  const bool isWritten = writePieces(fd.get(), data) && ::ftruncate(fd.get(), size) == 0;
  // Before the sync, which takes time: a write by another program during it has another date.
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
  // What cannot be given to a new file is kept by writing to the old one.
  if (!copyMetadataOf(old, oldFd, file.fd())) return fileFailure(EPERM, path);
  if (!writePieces(file.fd(), data) || ::fsync(file.fd()) != 0) return fileFailure(path);
  waitForLaterTimestamp(file.fd());
  writtenDate = dateOf(file.fd());
  return readVersion ? exchangeIntoPlace(file, place, oldFd, *readVersion, path) : replace(file, place, path);
}

FileStatus writeOver(const DataPieces& data, const FilePlace& place, const std::optional<FileVersion>& readVersion,
                     const std::string& path, std::optional<FileDate>& writtenDate) {
  // A rename would succeed on a file that may not be written. The user's wish counts.
  if (::faccessat(place.folder.get(), place.name.c_str(), W_OK, AT_EACCESS) != 0) return fileFailure(path);
  const UniqueFd oldFd(
      ::openat(place.folder.get(), place.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat old {};
  if (!oldFd || ::fstat(oldFd.get(), &old) != 0) return fileFailure(path);
  const DirectoryLock lock = lockDirectory(place.folder.get());
  if (lock == DirectoryLock::kHeld) (void)tidyFolder(place.folder.get(), place.name);
  if (lock == DirectoryLock::kImpossible) tidyIfFree(place.folder.get());
  // Another process of ours is at work on a file that is to be as it was read.
  if (lock == DirectoryLock::kBusy && readVersion) return hasChanged(path);
  if (!S_ISREG(old.st_mode) || !mayBeReplaced(place, old)) {
    if (!mayBeWrittenOver(place.folder.get(), place.name, oldFd.get(), readVersion)) return hasChanged(path);
    return writeInPlace(data, place, readVersion, path, writtenDate);
  }
  FileStatus status = writeBeside(data, place, old, oldFd.get(), readVersion, path, writtenDate);
  // In a folder that gives no name, or refuses to exchange this one, as where something is mounted on it.
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
  // Deleted on the way: by who is about to make it anew.
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
  // The version is that of a regular file of the user's own, so a match here excludes links and foreign files.
  if (place.folder && versionOf(place.folder.get(), place.name) != version) return hasChanged(path);
  std::optional<FileDate> date;
  return writeToPlace(data, place, version, path, date);
}

}  // namespace tarvel
