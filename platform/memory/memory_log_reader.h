#pragma once

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/log_reader.h"

namespace tarvel {

/// Returns given records, and further ones to a follower.
class MemoryLogReader final : public LogReader {
 public:
  [[nodiscard]] LogReading last(std::size_t count) override {
    if (state != LogState::kReadable) return {state, {}};
    const std::size_t skipped = records.size() - std::min(count, records.size());
    return {state, {records.begin() + static_cast<std::ptrdiff_t>(skipped), records.end()}};
  }
  void follow(const std::function<bool(const LogRecord&)>& receive) override {
    for (const LogRecord& record : std::exchange(later, {})) {
      if (state != LogState::kReadable || !receive(record)) return;
    }
  }

  LogState state = LogState::kReadable;
  std::vector<LogRecord> records;
  std::vector<LogRecord> later;
};

}  // namespace tarvel
