#pragma once

#include <chrono>

#include "platform/date.h"

namespace tarvel {

/// The virtual clocks of a memory platform. They advance only explicitly.
class VirtualTime {
 public:
  /// Time awake since the start.
  [[nodiscard]] std::chrono::nanoseconds monotonic() const { return monotonic_; }
  [[nodiscard]] Date wallClock() const {
    const std::chrono::nanoseconds now = monotonic_ + wallOffset_;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
    return {seconds.count(), static_cast<std::uint32_t>((now - seconds).count())};
  }

  /// Advances both clocks. Calls nothing.
  void pass(std::chrono::nanoseconds duration) { monotonic_ += duration; }
  /// Simulates suspend or a clock change: only the wall clock moves, forwards or back.
  void shiftWallClock(std::chrono::nanoseconds distance) { wallOffset_ += distance; }

 private:
  std::chrono::nanoseconds monotonic_{0};
  std::chrono::nanoseconds wallOffset_ = std::chrono::seconds(1'600'000'000);
};

}  // namespace tarvel
