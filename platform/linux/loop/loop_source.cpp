#include "platform/linux/loop/loop_source.h"

#include <algorithm>
#include <cmath>

namespace tarvel {

std::chrono::nanoseconds nanosecondsOf(double seconds) {
  constexpr double kCentury = 100.0 * 366 * 24 * 3600;
  if (!(seconds > 0)) return std::chrono::nanoseconds(0);
  return std::chrono::nanoseconds(std::llround(std::min(seconds, kCentury) * 1e9));
}

}  // namespace tarvel
