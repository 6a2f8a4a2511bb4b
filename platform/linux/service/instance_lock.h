#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/linux/base/unique_fd.h"

// Ensures a single agent per user and settings.
namespace tarvel {

/// Path of the lock: `helper.lock` in the settings folder of the identifier. Not in the runtime folder, which depends
/// on how a process was started and is removed with the session: processes that share settings share the lock. Empty
/// without a home folder.
[[nodiscard]] std::string instanceLockPath(const std::string& identifier);

/// An attempt to take the lock: held, held by another process, or unavailable.
class InstanceLock {
 public:
  enum class State { kHeld, kHeldByOther, kUnavailable };

  /// Tries to take the lock, creating file and folder. Held during the lifetime of this object or of the process.
  explicit InstanceLock(const std::string& path);

  [[nodiscard]] State state() const { return state_; }
  /// Why the lock is unavailable; empty otherwise.
  [[nodiscard]] const std::string& reason() const { return reason_; }

 private:
  State state_ = State::kUnavailable;
  std::string reason_;
  UniqueFd fd_;
};

/// The process that holds the lock at `path`; none if it is free, 0 if its number is unknown.
[[nodiscard]] std::optional<pid_t> holderOfInstanceLock(const std::string& path);

}  // namespace tarvel
