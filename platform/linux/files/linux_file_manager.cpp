#include "platform/linux/files/linux_file_manager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "platform/linux/base/user_folders.h"
#include "platform/linux/files/directory_lock.h"
#include "platform/linux/files/displaced_file.h"
#include "platform/linux/files/file_attributes.h"
#include "platform/linux/files/file_io.h"
#include "platform/linux/files/file_place.h"
#include "platform/linux/files/file_reading.h"
#include "platform/linux/files/file_size_limit.h"
#include "platform/linux/files/open_writers.h"
#include "platform/linux/files/private_folders.h"
#include "platform/linux/files/stale_files.h"
#include "platform/linux/files/temporary_file.h"
#include "platform/linux/files/undo_journal.h"

namespace tarvel {

bool LinuxFileManager::fileExistsAtPath(const std::string& path) {
  struct stat status {};
  return path.find('\0') == std::string::npos && ::stat(path.c_str(), &status) == 0;
}

FileAttributes LinuxFileManager::attributesOfItemAtPath(const std::string& path) {
  struct statx status {};
  if (path.find('\0') != std::string::npos) return {std::nullopt, fileFailure(EINVAL, path)};
  if (::statx(AT_FDCWD, path.c_str(), 0, STATX_MTIME, &status) != 0) return {std::nullopt, fileFailure(path)};
  return {FileDate{status.stx_mtime.tv_sec, status.stx_mtime.tv_nsec}, {}};
}

FileReading LinuxFileManager::contentsAtPath(const std::string& path) {
  constexpr int kMostReadings = 5;
  const FilePlace place = followLinks(path);
  // Held during the read, so that none of our processes writes meanwhile.
  const bool isLocked = place.folder && lockDirectory(place.folder.get()) == DirectoryLock::kHeld;
  const bool mayTidy = isLocked && ::faccessat(place.folder.get(), ".", W_OK | X_OK, AT_EACCESS) == 0;
  const int code = mayTidy ? tidyFolder(place.folder.get(), place.name) : 0;
  if (code != 0) return {{}, fileFailure(code, path)};
  FileReading reading;
  for (int i = 0; i < kMostReadings; ++i) {
    struct stat status {};
    const UniqueFd fd = openRegular(path, status);
    if (!fd) return {{}, fileFailure(path)};
    if (place.folder) rollBackInterruptedWrite(place, fd.get());
    // A change within the same clock granularity would go unnoticed.
    waitForLaterTimestamp(fd.get());
    const std::optional<FileVersion> version = versionOf(fd.get());
    if (!version) return {{}, fileFailure(path)};
    reading = readWholeUpTo(fd.get(), static_cast<std::size_t>(version->size), fileSizeLimit(), path);
    reading.version = *version;
    if (!reading.status.ok() || versionOf(fd.get()) == version) break;
  }
  return reading;
}

bool LinuxFileManager::isOpenForWritingAtPath(const std::string& path) {
  struct stat status {};
  const UniqueFd fd = openRegular(path, status);
  return fd && writersOf(fd.get()) == Writers::kSome;
}

std::vector<std::string> LinuxFileManager::keptSavesAtPath(const std::string& path) {
  const FilePlace place = followLinks(path);
  return place.folder ? keptSavesOf(place) : std::vector<std::string>();
}

FileReading LinuxFileManager::contentsOfOwnFileAtPath(const std::string& path) {
  const FilePlace place = placeOf(path);
  struct stat status {};
  // Checks the type first: opening a device can have side effects.
  if (!place.folder || ::fstatat(place.folder.get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return {{}, fileFailure(path)};
  }
  if (S_ISLNK(status.st_mode)) return {{}, fileFailure(ELOOP, path)};
  if (!S_ISREG(status.st_mode)) return {{}, fileFailure(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path)};
  const UniqueFd fd(
      ::openat(place.folder.get(), place.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!fd || ::fstat(fd.get(), &status) != 0) return {{}, fileFailure(path)};
  if (status.st_uid != ::geteuid()) return {{}, fileFailure(EPERM, path)};
  const std::optional<FileVersion> version = versionOf(fd.get());
  if (!version) return {{}, fileFailure(path)};
  FileReading reading = readWhole(fd.get(), static_cast<std::size_t>(version->size), path);
  reading.version = *version;
  return reading;
}

FileStatus LinuxFileManager::createDirectoryAtPath(const std::string& path) { return makePrivateFolder(path); }

FileStatus LinuxFileManager::copyItemAtPathToPath(const std::string& source, const std::string& target) {
  struct stat status {};
  const UniqueFd from = openRegular(source, status);
  if (!from) return fileFailure(source);
  const FilePlace place = placeOf(target);
  if (!place.folder) return fileFailure(target);
  struct stat existing {};
  if (::fstatat(place.folder.get(), place.name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0) {
    return fileFailure(EEXIST, target);
  }
  tidyIfFree(place.folder.get());
  TemporaryFile copy(place.folder.get(), kPrivate);
  if (!copy) return fileFailure(target);
  if (!copyBytes(from.get(), copy.fd()) || !copyMetadata(from.get(), status, copy.fd())) return fileFailure(target);
  recordSource(copy.fd(), source);
  if (::fsync(copy.fd()) != 0 || !copy.linkNoReplace(place.name)) return fileFailure(target);
  syncFolder(place.folder.get());
  return {};
}

std::optional<std::string> LinuxFileManager::sourceOfCopyAtPath(const std::string& path) {
  return path.find('\0') == std::string::npos ? recordedSource(path) : std::nullopt;
}

FileStatus LinuxFileManager::removeItemAtPath(const std::string& path) {
  const FilePlace place = placeOf(path);
  if (!place.folder) return fileFailure(path);
  if (::unlinkat(place.folder.get(), place.name.c_str(), 0) == 0) return {};
  if (errno != EISDIR) return fileFailure(path);
  return ::unlinkat(place.folder.get(), place.name.c_str(), AT_REMOVEDIR) == 0 ? FileStatus{} : fileFailure(path);
}

std::string expandTilde(const std::string& path, const std::function<std::string(const std::string&)>& homeOf) {
  if (!path.starts_with('~')) return path;
  const std::size_t slash = std::min(path.find('/'), path.size());
  const std::string home = homeOf(path.substr(1, slash - 1));
  std::string expanded = home.empty() ? path : home + path.substr(slash);
  if (expanded.size() > 1 && expanded.back() == '/') expanded.pop_back();
  return expanded;
}

DirectoryLookup LinuxFileManager::applicationSupportDirectory() {
  const std::string path = userDataFolder();
  FileStatus status = createDirectoryAtPath(path);
  if (!status.ok()) return {std::nullopt, std::move(status)};
  return {path, {}};
}

std::string LinuxFileManager::stringByExpandingTildeInPath(const std::string& path) {
  return expandTilde(path,
                     [](const std::string& user) { return user.empty() ? userHomeFolder() : homeFolderOf(user); });
}

}  // namespace tarvel
