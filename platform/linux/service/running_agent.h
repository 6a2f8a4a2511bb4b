#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>

#include "platform/linux/base/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

/// The agent that runs, held so that its number cannot come to mean another process.
class RunningAgent {
 public:
  /// Looks for the process that holds the lock at `lockPath` and executes a file of the name `program`: the number in
  /// the lock's file alone may be an old one.
  RunningAgent(const std::string& lockPath, const std::string& program);

  /// Whether it was found.
  explicit operator bool() const { return static_cast<bool>(handle_); }
  [[nodiscard]] pid_t process() const { return process_; }
  /// The file that it executes, as it was called when it was started.
  [[nodiscard]] const std::string& file() const { return file_; }
  /// Whether that file has been replaced or removed since.
  [[nodiscard]] bool isFileGone() const { return isFileGone_; }

  /// Asks it to end in order. False when that is not allowed.
  [[nodiscard]] bool askToEnd() const;
  /// Whether it ended within `patience`.
  [[nodiscard]] bool waitForEnd(std::chrono::milliseconds patience) const;

 private:
  UniqueFd handle_;
  pid_t process_ = 0;
  std::string file_;
  bool isFileGone_ = false;
};

}  // namespace tarvel
