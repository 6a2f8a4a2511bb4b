#include "platform/linux/files/directory_lock.h"

#include <sys/file.h>

#include <cerrno>
#include <ctime>

namespace tarvel {

DirectoryLock lockDirectory(int folder) {
  constexpr std::chrono::seconds kLongestWait(2);
  if (lockUntil(folder, std::chrono::steady_clock::now() + kLongestWait)) return DirectoryLock::kHeld;
  return errno == EWOULDBLOCK ? DirectoryLock::kBusy : DirectoryLock::kImpossible;
}

bool lockUntil(int fd, std::chrono::steady_clock::time_point end) {
  constexpr timespec kPause{0, 2'000'000};
  while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() >= end) return false;
    (void)::nanosleep(&kPause, nullptr);
  }
  return true;
}

}  // namespace tarvel
