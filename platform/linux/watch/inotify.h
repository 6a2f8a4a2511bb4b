#pragma once

#include <sys/inotify.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/linux/base/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

struct InotifyEvent {
  int watch = -1;
  std::uint32_t mask = 0;
  /// Of the entry of a watched folder; empty for the watched thing itself. Lasts as long as the call.
  std::string_view name;
};

/// One queue of file events. Watches are numbered by inode: the same folder under two names has one number.
class Inotify {
 public:
  /// A queue that tests false has no descriptor; errno says why.
  Inotify() : fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

  explicit operator bool() const { return static_cast<bool>(fd_); }
  [[nodiscard]] int descriptor() const { return fd_.get(); }

  /// Adds to what is asked about already. The watch's number, or -1 with errno set.
  [[nodiscard]] int watch(const std::string& path, std::uint32_t mask);
  void unwatch(int watch);
  /// Tells what is in the queue, at most what one reading brings: the loop comes back for the rest. `tell` may not
  /// destroy this.
  void read(const std::function<void(const InotifyEvent&)>& tell);

 private:
  UniqueFd fd_;
};

}  // namespace tarvel
