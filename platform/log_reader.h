#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/date.h"

namespace tarvel {

/// A message of the system log.
struct LogRecord {
  Date time;
  /// The program that wrote it.
  std::string program;
  /// The message as written, line breaks included.
  std::string message;
};

enum class LogState { kReadable, kUnreadable, kMissing };

struct LogReading {
  LogState state = LogState::kMissing;
  /// Oldest first.
  std::vector<LogRecord> records;
};

/// Reads messages of this user's agent and main application from the system log, and the service manager's messages
/// about the agent. Single-threaded.
class LogReader {
 public:
  virtual ~LogReader() = default;

  /// The last `count` messages.
  [[nodiscard]] virtual LogReading last(std::size_t count) = 0;
  /// Calls `receive` for each new message after those of last(), until it returns false or the log cannot be read.
  virtual void follow(const std::function<bool(const LogRecord&)>& receive) = 0;
};

}  // namespace tarvel
