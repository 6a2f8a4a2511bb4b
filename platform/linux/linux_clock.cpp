#include "platform/linux/linux_clock.h"

#include <thread>

namespace tarvel {

void LinuxClock::sleepFor(std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); }

}  // namespace tarvel
