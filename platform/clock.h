#pragma once

#include <chrono>

#include "platform/date.h"

namespace tarvel {

/// Time and sleeping.
class Clock {
 public:
  virtual ~Clock() = default;

  /// Blocks the calling thread.
  virtual void sleepFor(std::chrono::milliseconds duration) = 0;

  /// Time awake since an arbitrary start; never goes back. Thread-safe.
  [[nodiscard]] virtual std::chrono::nanoseconds monotonic() = 0;
  /// The wall clock, which can be set back.
  [[nodiscard]] virtual Date wallClock() = 0;
};

}  // namespace tarvel
