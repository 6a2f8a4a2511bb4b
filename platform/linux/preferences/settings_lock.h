#pragma once

#include <string>

#include "platform/linux/base/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

/// The right to change the settings of one application, held while this lives or until the process ends, however it
/// ends.
///
/// Whoever waits is next: a process that writes again and again cannot keep another one waiting for good.
class SettingsLock {
 public:
  /// `path` names the lock's file, which is made if need be; its folder must be there. Waits two seconds at most,
  /// asleep but for a look now and then. Tests false when somebody kept the lock that long, or the file cannot be had.
  explicit SettingsLock(const std::string& path);

  explicit operator bool() const { return isHeld_; }

 private:
  UniqueFd fd_;
  bool isHeld_ = false;
};

}  // namespace tarvel
