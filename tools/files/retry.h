#pragma once

#include <chrono>

#include "platform/clock.h"

namespace tarvel {

/// Calls `attempt` until it returns true: ten times at most, 0.3 seconds apart, as a sort does. False when it never
/// did.
template <typename Attempt>
[[nodiscard]] bool retry(Clock& clock, const Attempt& attempt) {
  constexpr int kMostAttempts = 10;
  constexpr std::chrono::milliseconds kPause{300};
  for (int i = 0; i < kMostAttempts; ++i) {
    if (i != 0) clock.sleepFor(kPause);
    if (attempt()) return true;
  }
  return false;
}

}  // namespace tarvel
