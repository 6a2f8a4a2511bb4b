#include "platform/linux/files/open_writers.h"

#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace tarvel {

namespace {

Writers askWithLease(int fd) {
  if (::fcntl(fd, F_SETLEASE, F_RDLCK) == 0) {
    (void)::fcntl(fd, F_SETLEASE, F_UNLCK);
    return Writers::kNone;
  }
  return errno == EAGAIN ? Writers::kSome : Writers::kUnknown;
}

}  // namespace

Writers writersOf(int fd) {
  // A program that opens the file during the lease causes a signal to this process. SIGURG is ignored by default.
  if (::fcntl(fd, F_SETSIG, SIGURG) != 0) return Writers::kUnknown;
  const Writers writers = askWithLease(fd);
  if (writers != Writers::kUnknown || errno != EACCES || ::geteuid() != 0) return writers;
  struct stat status {};
  if (::fstat(fd, &status) != 0) return Writers::kUnknown;
  // Per thread, and for file access only.
  const int before = ::setfsuid(status.st_uid);
  const Writers asOwner = askWithLease(fd);
  (void)::setfsuid(static_cast<uid_t>(before));
  return asOwner;
}

}  // namespace tarvel
