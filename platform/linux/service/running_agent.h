#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>

#include "platform/linux/base/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

/// The running agent, held by a pidfd so that its number cannot be reused.
class RunningAgent {
 public:
  /// Finds the process that holds the lock at `lockPath` and executes a file named `program`: the number in the lock
  /// file alone may be stale.
  RunningAgent(const std::string& lockPath, const std::string& program);

  /// False if no agent was found.
  explicit operator bool() const { return static_cast<bool>(handle_); }
  [[nodiscard]] pid_t process() const { return process_; }
  /// The path of its executable at start.
  [[nodiscard]] const std::string& file() const { return file_; }
  /// Whether the executable was replaced or removed since.
  [[nodiscard]] bool isFileGone() const { return isFileGone_; }

  /// Sends SIGTERM. False if that is not permitted.
  [[nodiscard]] bool askToEnd() const;
  /// Waits for its end; false after `patience`.
  [[nodiscard]] bool waitForEnd(std::chrono::milliseconds patience) const;

 private:
  UniqueFd handle_;
  pid_t process_ = 0;
  std::string file_;
  bool isFileGone_ = false;
};

}  // namespace tarvel
