#include "platform/linux/files/stale_files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>

#include "platform/linux/base/open_folder.h"
#include "platform/linux/files/displaced_file.h"
#include "platform/linux/files/file_place.h"
#include "platform/linux/files/temporary_file.h"
#include "platform/linux/files/undo_journal.h"

namespace tarvel {

namespace {

std::optional<struct stat> statusOf(int folder, const std::string& name) {
  struct stat status {};
  if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
  return status;
}

/// Root may have created it for another user's file and changed its owner.
bool mayBeOurs(int folder, const struct stat& status) {
  const uid_t user = ::geteuid();
  const auto above = statusOf(folder, ".");
  const bool isOwnFolder = above && above->st_uid == user;
  return S_ISREG(status.st_mode) && (status.st_uid == user || user == 0 || (status.st_uid == 0 && isOwnFolder));
}

/// Removes a temporary file, which holds only our bytes, unless a living process has locked it.
void removeTemporary(int folder, const std::string& name) {
  const auto status = statusOf(folder, name);
  if (!status || !mayBeOurs(folder, *status)) return;
  // Network file systems only lock files that are open for writing.
  constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  UniqueFd fd(::openat(folder, name.c_str(), O_RDWR | kFlags));
  if (!fd) fd = UniqueFd(::openat(folder, name.c_str(), O_RDONLY | kFlags));
  // A file of root's cannot be opened. If its process is alive, its write fails without loss.
  const bool isFree = fd ? ::flock(fd.get(), LOCK_EX | LOCK_NB) == 0 : errno == EACCES;
  if (isFree) (void)::unlinkat(folder, name.c_str(), 0);
}

/// In a sticky folder, one user must not be able to substitute a file for another's.
bool isTrusted(int folder, const struct stat& displaced, const struct stat& current) {
  const auto above = statusOf(folder, ".");
  if (!above || displaced.st_nlink != 1) return false;
  const bool isShared = (above->st_mode & S_ISVTX) != 0;
  return !isShared || displaced.st_uid == current.st_uid || displaced.st_uid == ::geteuid();
}

/// Returns as tidyFolder().
int recover(int folder, const std::string& name, const DisplacedName& displaced,
            const std::vector<std::string>& entries) {
  const auto target =
      std::ranges::find_if(entries, [&](const std::string& entry) { return comesFrom(displaced, entry); });
  if (target == entries.end()) return 0;
  const auto status = statusOf(folder, name);
  const auto current = statusOf(folder, *target);
  if (!status || !current || !isTrusted(folder, *status, *current)) return 0;
  const FilePlace place{UniqueFd(::fcntl(folder, F_DUPFD_CLOEXEC, 0)), *target};
  if (!place.folder) return errno;
  return settle(place, name) == Settlement::kKept ? errno : 0;
}

/// The journal of an interrupted in-place write: restores its file under any name that it has here.
void resolveRecord(int folder, const std::string& name, const std::vector<std::string>& entries) {
  const std::optional<JournaledFile> file = fileOfUndoJournal(folder, name);
  if (!file) return;
  for (const std::string& entry : entries) {
    // d_ino may differ from st_ino on bind mounts and overlays.
    const auto status = statusOf(folder, entry);
    if (!status || status->st_ino != file->inode || !S_ISREG(status->st_mode)) continue;
    const FilePlace place{UniqueFd(::fcntl(folder, F_DUPFD_CLOEXEC, 0)), entry};
    const UniqueFd fd(::openat(folder, entry.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (place.folder && fd) rollBackInterruptedWrite(place, fd.get());
    return;
  }
  // A file with names in other folders may still be torn there.
  if (!file->mayBeElsewhere) removeTemporary(folder, name);
}

}  // namespace

int tidyFolder(int folder, const std::string& target) {
  int code = 0;
  const std::vector<std::string> entries = entriesOf(folder);
  for (const std::string& name : entries) {
    if (isTemporaryName(name)) removeTemporary(folder, name);
    if (isUndoJournalName(name)) resolveRecord(folder, name, entries);
    if (const auto displaced = parseDisplacedName(name)) {
      const int failure = recover(folder, name, *displaced, entries);
      if (comesFrom(*displaced, target) && failure != 0) code = failure;
    }
  }
  return code;
}

void tidyIfFree(int folder) {
  const UniqueFd own(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!own) return;
  if (::flock(own.get(), LOCK_EX | LOCK_NB) == 0) {
    (void)tidyFolder(folder, {});
  } else if (errno != EWOULDBLOCK) {
    // Temporary files have their own locks.
    for (const std::string& name : entriesOf(folder)) {
      if (isTemporaryName(name)) removeTemporary(folder, name);
    }
  }
}

}  // namespace tarvel
