#pragma once

#include <sys/inotify.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/linux/base/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

/// The watched item itself was removed or renamed.
inline constexpr std::uint32_t kOwnEnd = IN_DELETE_SELF | IN_MOVE_SELF;

struct InotifyEvent {
  int watch = -1;
  std::uint32_t mask = 0;
  /// The affected entry of a watched folder; empty for the watched item itself. Valid during the call.
  std::string_view name;
};

/// An inotify queue. Watches are numbered by inode: a folder with two names has one number.
class Inotify {
 public:
  /// On failure tests false with errno set.
  Inotify() : fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

  explicit operator bool() const { return static_cast<bool>(fd_); }
  [[nodiscard]] int descriptor() const { return fd_.get(); }

  /// Adds to the mask of an existing watch. Returns the watch's number, or -1 with errno set.
  [[nodiscard]] int watch(const std::string& path, std::uint32_t mask);
  void unwatch(int watch);
  /// Passes queued events to `tell`, at most one read's worth: the loop calls again for the rest. `tell` must not
  /// destroy this.
  void read(const std::function<void(const InotifyEvent&)>& tell);

 private:
  UniqueFd fd_;
};

}  // namespace tarvel
