#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "platform/linux/service/linux_application.h"
#include "platform/linux/watch/linux_event_stream.h"
#include "platform/memory/memory_application.h"
#include "platform/memory/memory_event_stream.h"
#include "platform/memory/memory_platform.h"
#include "tests/support/linux_stream.h"

namespace tarvel {

// Both run loops, for the same tests. Delays are short, since one of the loops is real.

struct MemoryLoopKind {
  VirtualTime time;
  MemoryRunLoop loop{time};

  void pass(std::chrono::milliseconds duration) { loop.advanceBy(duration); }
  [[nodiscard]] bool passUntil(const std::function<bool()>& condition) {
    for (int i = 0; i < 20'000 && !condition(); ++i) loop.advanceBy(std::chrono::milliseconds(1));
    return condition();
  }
  [[nodiscard]] Date wallClock() const { return time.wallClock(); }
};

struct LinuxLoopKind {
  RealLoop real;
  LinuxRunLoop& loop = *real.loop;

  void pass(std::chrono::milliseconds duration) { real.turnFor(duration); }
  [[nodiscard]] bool passUntil(const std::function<bool()>& condition) { return real.turnUntil(condition); }
  [[nodiscard]] static Date wallClock() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
    return {seconds.count(), static_cast<std::uint32_t>(std::chrono::nanoseconds(now - seconds).count())};
  }
};

}  // namespace tarvel
