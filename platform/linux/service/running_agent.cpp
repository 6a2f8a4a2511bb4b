#include "platform/linux/service/running_agent.h"

#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "platform/linux/service/instance_lock.h"

namespace tarvel {

namespace {

namespace fs = std::filesystem;

/// Whether another process has an exclusive flock on the open file.
bool isLockedByFile(const fs::path& information) {
  std::ifstream lines(information);
  for (std::string line; std::getline(lines, line);) {
    const bool isLock = line.starts_with("lock:") && line.find(" FLOCK ") != std::string::npos;
    if (isLock && line.find(" WRITE ") != std::string::npos) return true;
  }
  return false;
}

bool holdsLock(pid_t process, const std::string& lockPath) {
  struct stat lock {};
  if (::lstat(lockPath.c_str(), &lock) != 0) return false;
  const fs::path own = "/proc/" + std::to_string(process);
  std::error_code error;
  for (fs::directory_iterator entry(own / "fd", error), end; !error && entry != end; entry.increment(error)) {
    struct stat file {};
    const bool isLock =
        ::stat(entry->path().c_str(), &file) == 0 && file.st_dev == lock.st_dev && file.st_ino == lock.st_ino;
    if (isLock && isLockedByFile(own / "fdinfo" / entry->path().filename())) return true;
  }
  return false;
}

}  // namespace

RunningAgent::RunningAgent(const std::string& lockPath, const std::string& program) {
  constexpr std::string_view kGone = " (deleted)";
  const auto holder = holderOfInstanceLock(lockPath);
  if (!holder || *holder <= 0) return;
  // glibc's header for pidfd_open only supports C.
  UniqueFd handle(static_cast<int>(::syscall(SYS_pidfd_open, *holder, 0)));
  std::error_code error;
  std::string file = fs::read_symlink("/proc/" + std::to_string(*holder) + "/exe", error).string();
  if (!handle || error) return;
  if (file.ends_with(kGone)) {
    file.resize(file.size() - kGone.size());
    isFileGone_ = true;
  }
  if (fs::path(file).filename() != program || !holdsLock(*holder, lockPath)) return;
  process_ = *holder;
  file_ = std::move(file);
  handle_ = std::move(handle);
}

bool RunningAgent::askToEnd() const {
  return ::syscall(SYS_pidfd_send_signal, handle_.get(), SIGTERM, nullptr, 0) == 0 || errno == ESRCH;
}

bool RunningAgent::waitForEnd(std::chrono::milliseconds patience) const {
  const auto end = std::chrono::steady_clock::now() + patience;
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    pollfd handle{handle_.get(), POLLIN, 0};
    const int polled = ::poll(&handle, 1, left.count() < 0 ? 0 : static_cast<int>(left.count()));
    if (polled >= 0 || errno != EINTR) return polled > 0;
  }
}

}  // namespace tarvel
