#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

// Internal to platform/linux.
namespace tarvel {

/// A source registered with a run loop. Destroying it unregisters it, even from within its own callback.
class LoopSource {
 public:
  virtual ~LoopSource() = default;
};

/// LinuxRunLoop::watchDescriptor() of a loop.
using DescriptorWatch = std::function<std::unique_ptr<LoopSource>(int descriptor, std::uint32_t events,
                                                                  std::function<void(std::uint32_t)> action)>;

/// Converts seconds. Negative values and NaN become zero; values beyond a century become a century.
[[nodiscard]] std::chrono::nanoseconds nanosecondsOf(double seconds);

}  // namespace tarvel
