#pragma once

#include "platform/clock.h"

namespace tarvel {

class LinuxClock final : public Clock {
 public:
  /// Sleeps for the whole time, even when signals interrupt.
  void sleepFor(std::chrono::milliseconds duration) override;
  [[nodiscard]] std::chrono::nanoseconds monotonic() override;
  [[nodiscard]] Date wallClock() override;
};

}  // namespace tarvel
