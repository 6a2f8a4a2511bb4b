#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

// Internal to platform/linux.
namespace tarvel {

/// Something registered with a run loop. Destroying it removes it from the loop, also from within its own callback.
class LoopSource {
 public:
  virtual ~LoopSource() = default;
};

/// LinuxRunLoop::watchDescriptor() of some loop.
using DescriptorWatch = std::function<std::unique_ptr<LoopSource>(int descriptor, std::uint32_t events,
                                                                  std::function<void(std::uint32_t)> action)>;

/// Seconds as a count. Negative values and NaN count as zero, what no clock could count to as a century.
[[nodiscard]] std::chrono::nanoseconds nanosecondsOf(double seconds);

}  // namespace tarvel
