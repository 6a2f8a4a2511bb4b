#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "platform/linux/base/unique_fd.h"
#include "platform/linux/loop/loop_source.h"
#include "platform/run_loop.h"

// Internal to platform/linux.
namespace tarvel {

/// A repeating timer on the wall clock (timerfd). Also wakes when the clock is set.
class LinuxTimer final : public Timer {
 public:
  /// Null if there is no descriptor for it.
  [[nodiscard]] static std::unique_ptr<LinuxTimer> create(const DescriptorWatch& watchDescriptor, double interval,
                                                          std::function<void()> action);

  void setFireDate(const Date& fireDate) override;
  [[nodiscard]] Date fireDate() const override;

 private:
  LinuxTimer(std::chrono::nanoseconds interval, std::function<void()> action);
  void arm();
  void ring();

  std::chrono::nanoseconds interval_;
  /// Since 1970.
  std::chrono::nanoseconds fireDate_{0};
  std::shared_ptr<std::function<void()>> action_;
  UniqueFd descriptor_;
  std::unique_ptr<LoopSource> source_;
};

}  // namespace tarvel
