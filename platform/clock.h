#pragma once

#include <chrono>

#include "platform/date.h"

namespace tarvel {

/// Waits.
class Clock {
 public:
  virtual ~Clock() = default;

  /// Blocks the calling thread.
  virtual void sleepFor(std::chrono::milliseconds duration) = 0;

  /// Time awake since some beginning; never goes back. May be asked from any thread.
  [[nodiscard]] virtual std::chrono::nanoseconds monotonic() = 0;
  /// What the user's clock says, which may be set back.
  [[nodiscard]] virtual Date wallClock() = 0;
};

}  // namespace tarvel
