#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "platform/linux/linux_run_loop.h"
#include "platform/linux/unique_fd.h"

// Internal to platform/linux.
namespace tarvel {

/// Seconds as a count. What is negative or no number counts as nothing, what no clock could count to as a century.
[[nodiscard]] std::chrono::nanoseconds nanosecondsOf(double seconds);

/// A repeating timer on the wall clock. The kernel rings when the clock reaches the date, and also when somebody sets
/// the clock.
class LinuxTimer final : public Timer {
 public:
  /// Null when there is no descriptor for it.
  [[nodiscard]] static std::unique_ptr<LinuxTimer> create(LinuxRunLoop& loop, double interval,
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
