#include "platform/linux/preferences/settings_lock.h"

#include <fcntl.h>

#include <cerrno>

#include "platform/linux/files/directory_lock.h"
#include "platform/linux/files/temporary_file.h"

namespace tarvel {

namespace {

constexpr std::chrono::seconds kLongestWait(2);

}  // namespace

SettingsLock::SettingsLock(const std::string& path) {
  const auto end = std::chrono::steady_clock::now() + kLongestWait;
  // Waiters queue on the directory lock. A process that has just released the lock must queue too and cannot overtake.
  // On file systems that cannot lock directories, the lock is merely unfair.
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  const UniqueFd turn(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (turn && !lockUntil(turn.get(), end) && errno == EWOULDBLOCK) return;
  fd_ = UniqueFd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kPrivate));
  isHeld_ = fd_ && lockUntil(fd_.get(), end);
}

}  // namespace tarvel
