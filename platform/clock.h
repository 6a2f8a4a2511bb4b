#pragma once

#include <chrono>

namespace tarvel {

class Clock {
 public:
  virtual ~Clock() = default;

  /// Blocks the calling thread.
  virtual void sleepFor(std::chrono::milliseconds duration) = 0;
};

}  // namespace tarvel
