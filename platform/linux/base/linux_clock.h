#pragma once

#include "platform/clock.h"

namespace tarvel {

class LinuxClock final : public Clock {
 public:
  /// Sleeps the whole time, also when signals come.
  void sleepFor(std::chrono::milliseconds duration) override;
  [[nodiscard]] std::chrono::nanoseconds monotonic() override;
  [[nodiscard]] Date wallClock() override;
};

}  // namespace tarvel
