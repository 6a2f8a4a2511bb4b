// Replaces, moves and exchanges items.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "platform/linux/files/file_attributes.h"
#include "platform/linux/files/file_io.h"
#include "platform/linux/files/file_place.h"
#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/files/temporary_file.h"

namespace tarvel {

namespace {

void throwIfNoAddress(const std::string& path) {
  if (path.empty() || path.find('\0') != std::string::npos) throw PlatformException("The path makes no address.");
}

bool statusOf(const FilePlace& place, struct stat& status) {
  return ::fstatat(place.folder.get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

int rename(const FilePlace& from, const FilePlace& to, unsigned flags) {
  return ::renameat2(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str(), flags);
}

void syncFile(const FilePlace& place) {
  const UniqueFd fd(::openat(place.folder.get(), place.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (fd) (void)::fsync(fd.get());
}

FileStatus synced(const FilePlace& target, const FilePlace& replacement) {
  syncFolder(target.folder.get());
  syncFolder(replacement.folder.get());
  return {};
}

/// Hard-links the new name, which never replaces anything, then unlinks the old one.
bool moveByLink(const FilePlace& from, const FilePlace& to) {
  if (::linkat(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str(), 0) != 0) return false;
  if (::unlinkat(from.folder.get(), from.name.c_str(), 0) == 0) return true;
  const int code = errno;
  (void)::unlinkat(to.folder.get(), to.name.c_str(), 0);
  errno = code;
  return false;
}

/// Renames to a free name, even without RENAME_NOREPLACE.
bool moveToFreeName(const FilePlace& from, const FilePlace& to) {
  if (rename(from, to, RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  if (moveByLink(from, to)) return true;
  // Folders cannot be hard-linked, and some file systems have no hard links: check first, then rename.
  if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS) return false;
  struct stat existing {};
  if (statusOf(to, existing)) {
    errno = EEXIST;
    return false;
  }
  return rename(from, to, 0) == 0;
}

/// A path for an entry of an open folder, for calls that only take paths.
std::string pathOf(const FilePlace& place) {
  return "/proc/self/fd/" + std::to_string(place.folder.get()) + "/" + place.name;
}

bool removeWhole(const FilePlace& place) {
  if (::unlinkat(place.folder.get(), place.name.c_str(), 0) == 0) return true;
  if (errno != EISDIR) return false;
  std::error_code error;
  (void)std::filesystem::remove_all(pathOf(place), error);
  errno = error.value();
  return !error;
}

/// For items of different kinds: an exchange, then removal of the old item.
FileReplacement replaceByExchange(const FilePlace& target, const FilePlace& replacement, const std::string& targetPath,
                                  const std::string& replacementPath) {
  if (rename(replacement, target, RENAME_EXCHANGE) != 0) return {fileFailure(targetPath), std::nullopt};
  if (removeWhole(replacement)) return {synced(target, replacement), std::nullopt};
  FileStatus failure = fileFailure(replacementPath);
  const bool isBack = rename(replacement, target, RENAME_EXCHANGE) == 0;
  return {std::move(failure),
          isBack ? std::nullopt : std::optional(pathInFolder(replacement.folder.get(), replacement.name))};
}

/// A free name beside the target for its old item during the replacement. Files that an interrupted replacement left
/// under such names are never reused: they may be the only copy.
FilePlace placeAside(const FilePlace& target) {
  constexpr int kMostNames = 100;
  FilePlace aside{UniqueFd(::dup(target.folder.get())), target.name + ".tarvel-aside"};
  struct stat existing {};
  for (int i = 2; i < kMostNames && aside.folder && statusOf(aside, existing); ++i) {
    aside.name = target.name + ".tarvel-aside-" + std::to_string(i);
  }
  return aside;
}

/// Without RENAME_EXCHANGE: moves the old item aside, and back if the new one cannot be moved in or the old one cannot
/// be removed.
FileReplacement replaceByStepping(const FilePlace& target, const FilePlace& replacement,
                                  const std::string& targetPath) {
  const FilePlace aside = placeAside(target);
  if (!aside.folder || !moveToFreeName(target, aside)) return {fileFailure(targetPath), std::nullopt};
  const std::string asidePath = pathInFolder(aside.folder.get(), aside.name);
  const bool hasFollowed = moveToFreeName(replacement, target);
  if (hasFollowed && removeWhole(aside)) return {synced(target, replacement), std::nullopt};
  const FileStatus failure = fileFailure(hasFollowed ? asidePath : targetPath);
  const bool isBack = (!hasFollowed || moveToFreeName(target, replacement)) && moveToFreeName(aside, target);
  return {failure, isBack ? std::nullopt : std::optional(asidePath)};
}

/// Hard-links the old item to a second name, to restore it from; moves it there if hard links are unsupported.
bool keepAside(const FilePlace& target, const FilePlace& aside) {
  if (::linkat(target.folder.get(), target.name.c_str(), aside.folder.get(), aside.name.c_str(), 0) == 0) return true;
  const bool isRefused = errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS || errno == EMLINK;
  return isRefused && moveToFreeName(target, aside);
}

/// Restores it over any file that now has the target's name.
bool comeBack(const FilePlace& aside, const FilePlace& target) {
  struct stat kept {};
  struct stat now {};
  if (!statusOf(target, now)) return moveToFreeName(aside, target);
  const bool isStillThere = statusOf(aside, kept) && kept.st_dev == now.st_dev && kept.st_ino == now.st_ino;
  if (isStillThere) return ::unlinkat(aside.folder.get(), aside.name.c_str(), 0) == 0;
  return rename(aside, target, 0) == 0;
}

/// Renames the copy over the target and removes the replacement. Restores the old item unless both succeed.
FileReplacement finishCopy(TemporaryFile& copy, const FilePlace& target, const FilePlace& replacement,
                           const std::string& replacementPath) {
  const FilePlace aside = placeAside(target);
  const std::string asidePath = pathInFolder(aside.folder.get(), aside.name);
  if (!aside.folder || !keepAside(target, aside)) return {fileFailure(asidePath), std::nullopt};
  const bool isDone =
      copy.replace(target.name) && ::unlinkat(replacement.folder.get(), replacement.name.c_str(), 0) == 0;
  if (isDone) {
    // If this fails, the old item stays under that name and nothing is lost.
    (void)::unlinkat(aside.folder.get(), aside.name.c_str(), 0);
    return {synced(target, replacement), std::nullopt};
  }
  const FileStatus failure = fileFailure(replacementPath);
  return {failure, comeBack(aside, target) ? std::nullopt : std::optional(asidePath)};
}

/// Where a rename is not possible (another file system, a link as the replacement): a copy beside the target replaces
/// it, then the replacement is removed.
FileReplacement replaceByCopy(const FilePlace& target, const FilePlace& replacement, const std::string& targetPath,
                              const std::string& replacementPath) {
  const auto failed = [](const std::string& path) { return FileReplacement{fileFailure(path), std::nullopt}; };
  struct stat source {};
  if (::faccessat(replacement.folder.get(), ".", W_OK | X_OK, AT_EACCESS) != 0) return failed(replacementPath);
  const UniqueFd from(::openat(replacement.folder.get(), replacement.name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!from || ::fstat(from.get(), &source) != 0) return failed(replacementPath);
  if (!S_ISREG(source.st_mode)) return {fileFailure(EINVAL, replacementPath), std::nullopt};
  TemporaryFile copy(target.folder.get(), kPrivate);
  if (!copy) return failed(targetPath);
  // Only root can change the owner; otherwise the copy belongs to the user.
  [[maybe_unused]] const int given = ::fchown(copy.fd(), source.st_uid, source.st_gid);
  const bool isCopied =
      copyBytes(from.get(), copy.fd()) && copyMetadata(from.get(), source, copy.fd()) && ::fsync(copy.fd()) == 0;
  return isCopied ? finishCopy(copy, target, replacement, replacementPath) : failed(targetPath);
}

}  // namespace

FileReplacement LinuxFileManager::replaceItem(const std::string& target, const std::string& replacement) {
  throwIfNoAddress(target);
  throwIfNoAddress(replacement);
  const FilePlace targetPlace = followLinks(target);
  if (!targetPlace.folder) return {fileFailure(target), std::nullopt};
  const FilePlace replacementPlace = placeOf(replacement);
  if (!replacementPlace.folder) return {fileFailure(replacement), std::nullopt};
  struct stat old {};
  struct stat fresh {};
  struct stat behind {};
  if (!statusOf(targetPlace, old)) return {fileFailure(target), std::nullopt};
  if (!statusOf(replacementPlace, fresh)) return {fileFailure(replacement), std::nullopt};
  if (::fstatat(replacementPlace.folder.get(), replacementPlace.name.c_str(), &behind, 0) != 0) {
    return {fileFailure(replacement), std::nullopt};
  }
  // Hard links of one file: a rename would do nothing and keep both names, and removing a link would lose both.
  if (old.st_dev == behind.st_dev && old.st_ino == behind.st_ino) return {fileFailure(EINVAL, target), std::nullopt};
  const bool isFile = S_ISREG(old.st_mode) && S_ISREG(behind.st_mode);
  if (isFile && S_ISREG(fresh.st_mode)) {
    syncFile(replacementPlace);
    if (rename(replacementPlace, targetPlace, 0) == 0) return {synced(targetPlace, replacementPlace), std::nullopt};
    if (errno != EXDEV) return {fileFailure(target), std::nullopt};
  }
  // A link cannot replace a file: in another folder its target may not resolve. Its target is copied instead.
  if (isFile) return replaceByCopy(targetPlace, replacementPlace, target, replacement);
  FileReplacement exchanged = replaceByExchange(targetPlace, replacementPlace, target, replacement);
  const bool isImpossible = exchanged.status.code == EINVAL || exchanged.status.code == ENOSYS;
  return isImpossible ? replaceByStepping(targetPlace, replacementPlace, target) : std::move(exchanged);
}

FileStatus LinuxFileManager::moveItem(const std::string& source, const std::string& target) {
  throwIfNoAddress(source);
  throwIfNoAddress(target);
  const FilePlace from = placeOf(source);
  if (!from.folder) return fileFailure(source);
  const FilePlace to = placeOf(target);
  if (!to.folder) return fileFailure(target);
  return moveToFreeName(from, to) ? synced(to, from) : fileFailure(target);
}

FileStatus LinuxFileManager::exchangeItems(const std::string& first, const std::string& second) {
  const FilePlace a = placeOf(first);
  if (!a.folder) return fileFailure(first);
  const FilePlace b = placeOf(second);
  if (!b.folder) return fileFailure(second);
  return rename(a, b, RENAME_EXCHANGE) == 0 ? synced(a, b) : fileFailure(first);
}

}  // namespace tarvel
