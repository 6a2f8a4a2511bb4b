#pragma once

#include <chrono>

#include "platform/date.h"

namespace tarvel {

/// The hands of all clocks of one memory platform. They move only when somebody moves them.
class VirtualTime {
 public:
  /// Time awake since the beginning.
  [[nodiscard]] std::chrono::nanoseconds monotonic() const { return monotonic_; }
  [[nodiscard]] Date wallClock() const {
    const std::chrono::nanoseconds now = monotonic_ + wallOffset_;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
    return {seconds.count(), static_cast<std::uint32_t>((now - seconds).count())};
  }

  /// Both clocks go on. Nothing is called.
  void pass(std::chrono::nanoseconds duration) { monotonic_ += duration; }
  /// The machine sleeps, or its user sets the time: only the wall clock moves, forwards or back.
  void shiftWallClock(std::chrono::nanoseconds distance) { wallOffset_ += distance; }

 private:
  std::chrono::nanoseconds monotonic_{0};
  std::chrono::nanoseconds wallOffset_ = std::chrono::seconds(1'600'000'000);
};

}  // namespace tarvel
