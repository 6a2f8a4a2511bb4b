// One item in another's place: replacing, moving, exchanging.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <system_error>

#include "platform/linux/file_support.h"
#include "platform/linux/linux_file_manager.h"

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

/// Items of different kinds: an exchange, of which the old item is then removed, or undone when it cannot be.
FileStatus replaceByExchange(const FilePlace& target, const FilePlace& replacement, const std::string& targetPath,
                             const std::string& replacementPath) {
  if (rename(replacement, target, RENAME_EXCHANGE) != 0) return fileFailure(targetPath);
  std::error_code error;
  (void)std::filesystem::remove_all(replacementPath, error);
  if (!error) return synced(target, replacement);
  (void)rename(replacement, target, RENAME_EXCHANGE);
  return fileFailure(error.value(), replacementPath);
}

/// Where two names cannot be exchanged: the old item steps aside first, and comes back when the new one cannot follow.
FileReplacement replaceByStepping(const FilePlace& target, const FilePlace& replacement,
                                  const std::string& targetPath) {
  const std::string asidePath = targetPath + ".tarvel-aside";
  const FilePlace aside = placeOf(asidePath);
  if (!aside.folder || rename(target, aside, RENAME_NOREPLACE) != 0) return {fileFailure(targetPath), std::nullopt};
  if (rename(replacement, target, 0) != 0) {
    const FileStatus failure = fileFailure(targetPath);
    const bool isBack = rename(aside, target, 0) == 0;
    return {failure, isBack ? std::nullopt : std::optional(asidePath)};
  }
  std::error_code error;
  (void)std::filesystem::remove_all(asidePath, error);
  return {synced(target, replacement), std::nullopt};
}

/// Across file systems: a copy beside the target takes its place, and only then the replacement goes.
FileStatus replaceByCopy(LinuxFileManager& manager, const FilePlace& target, const FilePlace& replacement,
                         const std::string& targetPath, const std::string& replacementPath) {
  if (::faccessat(replacement.folder.get(), ".", W_OK | X_OK, AT_EACCESS) != 0) return fileFailure(replacementPath);
  const std::string besidePath = targetPath + ".tarvel-new";
  if (FileStatus status = manager.copyItemAtPathToPath(replacementPath, besidePath); !status.ok()) return status;
  const FilePlace beside = placeOf(besidePath);
  if (!beside.folder || rename(beside, target, 0) != 0) {
    const FileStatus failure = fileFailure(targetPath);
    (void)::unlink(besidePath.c_str());
    return failure;
  }
  if (::unlinkat(replacement.folder.get(), replacement.name.c_str(), 0) != 0) return fileFailure(replacementPath);
  return synced(target, replacement);
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
  if (!statusOf(targetPlace, old)) return {fileFailure(target), std::nullopt};
  if (!statusOf(replacementPlace, fresh)) return {fileFailure(replacement), std::nullopt};
  // Two names of one file: a rename would do nothing and leave both.
  if (old.st_dev == fresh.st_dev && old.st_ino == fresh.st_ino) return {fileFailure(EINVAL, target), std::nullopt};
  const bool areFiles = S_ISREG(old.st_mode) && S_ISREG(fresh.st_mode);
  if (areFiles) {
    syncFile(replacementPlace);
    if (rename(replacementPlace, targetPlace, 0) == 0) return {synced(targetPlace, replacementPlace), std::nullopt};
    if (errno != EXDEV) return {fileFailure(target), std::nullopt};
    return {replaceByCopy(*this, targetPlace, replacementPlace, target, replacement), std::nullopt};
  }
  FileStatus status = replaceByExchange(targetPlace, replacementPlace, target, replacement);
  if (status.code != EINVAL && status.code != ENOSYS) return {std::move(status), std::nullopt};
  return replaceByStepping(targetPlace, replacementPlace, target);
}

FileStatus LinuxFileManager::moveItem(const std::string& source, const std::string& target) {
  throwIfNoAddress(source);
  throwIfNoAddress(target);
  const FilePlace from = placeOf(source);
  if (!from.folder) return fileFailure(source);
  const FilePlace to = placeOf(target);
  if (!to.folder) return fileFailure(target);
  if (rename(from, to, RENAME_NOREPLACE) == 0) return synced(to, from);
  if (errno != EINVAL && errno != ENOSYS) return fileFailure(target);
  struct stat existing {};
  if (statusOf(to, existing)) return fileFailure(EEXIST, target);
  return rename(from, to, 0) == 0 ? synced(to, from) : fileFailure(target);
}

FileStatus LinuxFileManager::exchangeItems(const std::string& first, const std::string& second) {
  const FilePlace a = placeOf(first);
  if (!a.folder) return fileFailure(first);
  const FilePlace b = placeOf(second);
  if (!b.folder) return fileFailure(second);
  return rename(a, b, RENAME_EXCHANGE) == 0 ? synced(a, b) : fileFailure(first);
}

}  // namespace tarvel
