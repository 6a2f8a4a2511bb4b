#include "platform/linux/base/linux_clock.h"

#include <ctime>
#include <thread>

namespace tarvel {

void LinuxClock::sleepFor(std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); }

std::chrono::nanoseconds LinuxClock::monotonic() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch());
}

Date LinuxClock::wallClock() {
  timespec now{};
  (void)::clock_gettime(CLOCK_REALTIME, &now);
  return {now.tv_sec, static_cast<std::uint32_t>(now.tv_nsec)};
}

}  // namespace tarvel
