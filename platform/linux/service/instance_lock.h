#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/linux/base/unique_fd.h"

// One running agent for each user's settings.
namespace tarvel {

/// Where the lock lies: `helper.lock` in the settings folder of the identifier. There, and not in the runtime folder,
/// which depends on how a process was started and is removed with the session: whoever reads the same settings finds
/// the same lock. Empty without a home folder.
[[nodiscard]] std::string instanceLockPath(const std::string& identifier);

/// A lock that this process holds, or that somebody else holds, or that cannot be had at all.
class InstanceLock {
 public:
  enum class State { kHeld, kHeldByOther, kUnavailable };

  /// Tries to take the lock, making file and folder. Held until this is destroyed or the process ends, however it ends.
  explicit InstanceLock(const std::string& path);

  [[nodiscard]] State state() const { return state_; }
  /// Why the lock is unavailable; empty otherwise.
  [[nodiscard]] const std::string& reason() const { return reason_; }

 private:
  State state_ = State::kUnavailable;
  std::string reason_;
  UniqueFd fd_;
};

/// The process that holds the lock at `path`; none when nobody does. 0 when somebody does who left no number.
[[nodiscard]] std::optional<pid_t> holderOfInstanceLock(const std::string& path);

}  // namespace tarvel
