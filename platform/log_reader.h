#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/date.h"

namespace tarvel {

/// One message of the system's log.
struct LogRecord {
  Date time;
  /// Who wrote it: a program's name.
  std::string program;
  /// As it was written, line breaks and all.
  std::string message;
};

enum class LogState { kReadable, kUnreadable, kMissing };

struct LogReading {
  LogState state = LogState::kMissing;
  /// Oldest first.
  std::vector<LogRecord> records;
};

/// What this user's agent and main application have written to the system's log, and what the service manager has
/// written about the agent. One thread.
class LogReader {
 public:
  virtual ~LogReader() = default;

  /// The last `count` messages.
  [[nodiscard]] virtual LogReading last(std::size_t count) = 0;
  /// Tells every message that comes after those of last(), as it comes, until `tell` answers false or the log cannot be
  /// read any more.
  virtual void follow(const std::function<bool(const LogRecord&)>& tell) = 0;
};

}  // namespace tarvel
