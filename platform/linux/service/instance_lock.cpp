#include "platform/linux/service/instance_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "platform/linux/base/user_folders.h"
#include "platform/linux/files/directory_lock.h"
#include "platform/linux/files/private_folders.h"

namespace tarvel {

namespace {

/// A process that asks for the holder takes the lock for a moment, so one refusal is not final.
bool lockSoon(int fd) {
  constexpr std::chrono::milliseconds kPatience(20);
  return lockUntil(fd, std::chrono::steady_clock::now() + kPatience);
}

/// Whether the file is this user's and has no other hard link. A file that was just removed has no link at all.
bool isOwnFile(int fd) {
  struct stat status {};
  return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() && status.st_nlink <= 1;
}

/// Whether the open file still has this name: a lock on a removed file protects nothing.
bool hasName(int fd, const std::string& path) {
  struct stat opened {};
  struct stat named {};
  return ::fstat(fd, &opened) == 0 && ::lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

void leaveNumber(int fd) {
  const std::string number = std::to_string(::getpid()) + "\n";
  if (::ftruncate(fd, 0) != 0) return;
  [[maybe_unused]] const ssize_t written = ::pwrite(fd, number.data(), number.size(), 0);
}

}  // namespace

std::string instanceLockPath(const std::string& identifier) {
  const std::string settings = userSettingsFolder();
  return settings.empty() ? std::string() : settings + "/" + identifier + "/helper.lock";
}

InstanceLock::InstanceLock(const std::string& path) {
  constexpr mode_t kPrivate = 0600;
  // If this fails, opening the file fails too and reports why.
  (void)makePrivateFolder(std::filesystem::path(path).parent_path().string());
  bool isLocked = false;
  constexpr int kAttempts = 5;
  for (int i = 0; i < kAttempts; ++i) {
    fd_ = UniqueFd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kPrivate));
    // Other files at this path are not written to.
    if (fd_ && !isOwnFile(fd_.get())) {
      fd_ = UniqueFd();
      errno = EPERM;
    }
    isLocked = fd_ && lockSoon(fd_.get());
    if (!isLocked || hasName(fd_.get(), path)) break;
  }
  if (isLocked) {
    state_ = State::kHeld;
    leaveNumber(fd_.get());
  } else if (errno == EWOULDBLOCK) {
    state_ = State::kHeldByOther;
  } else {
    reason_ = std::generic_category().message(errno);
  }
}

std::optional<pid_t> holderOfInstanceLock(const std::string& path) {
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (!fd) return std::nullopt;
  // The query takes the lock for a moment; shared, so that queries do not exclude each other.
  if (::flock(fd.get(), LOCK_SH | LOCK_NB) == 0 || errno != EWOULDBLOCK) return std::nullopt;
  char text[32] = {};
  const ssize_t size = ::pread(fd.get(), text, sizeof text, 0);
  pid_t process = 0;
  if (size > 0) (void)std::from_chars(text, text + size, process);
  return process;
}

}  // namespace tarvel
