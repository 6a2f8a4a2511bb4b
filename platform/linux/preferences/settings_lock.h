#pragma once

#include <string>

#include "platform/linux/base/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

/// Exclusive permission to change one application's settings, held during the lifetime of this object or of the
/// process.
///
/// Fair: the longest waiter is next, so a process that writes continuously cannot starve another.
class SettingsLock {
 public:
  /// `path` is the lock file, created if necessary in an existing folder. Waits at most two seconds, polling. Tests
  /// false on a timeout or if the file cannot be opened.
  explicit SettingsLock(const std::string& path);

  explicit operator bool() const { return isHeld_; }

 private:
  UniqueFd fd_;
  bool isHeld_ = false;
};

}  // namespace tarvel
