#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/linux/loop/loop_source.h"
#include "platform/run_loop.h"

struct sd_event;

namespace tarvel {

/// A run loop on sd-event, for one thread. Delayed requests and internal calls share one queue, ordered by due time,
/// then by creation.
class LinuxRunLoop final : public RunLoop {
 public:
  /// Null if the kernel provides no descriptors.
  [[nodiscard]] static std::unique_ptr<LinuxRunLoop> create();
  ~LinuxRunLoop() override;

  void performSelectorWithObjectAfterDelay(const void* target, std::string_view selector, const void* object,
                                           std::function<void()> action, double delay) override;
  void cancelPreviousPerformRequestsWithTargetSelectorObject(const void* target, std::string_view selector,
                                                             const void* object) override;
  [[nodiscard]] std::unique_ptr<Timer> scheduledTimerWithTimeIntervalRepeats(double interval,
                                                                             std::function<void()> action) override;

  // Internal to platform/linux.

  /// Borrowed. For sd-bus.
  [[nodiscard]] sd_event* event();
  /// Calls `action` once after `delay` on the monotonic clock. Null when out of memory.
  [[nodiscard]] std::unique_ptr<LoopSource> callAfter(std::chrono::nanoseconds delay, std::function<void()> action);
  /// Calls `action` with the poll(2) events whenever the descriptor (borrowed) has one of `events`. Null if it cannot
  /// be watched.
  [[nodiscard]] std::unique_ptr<LoopSource> watchDescriptor(int descriptor, std::uint32_t events,
                                                            std::function<void(std::uint32_t)> action);
  /// Reaps the child and calls `action` with its wait status. Null if there is no such child.
  [[nodiscard]] std::unique_ptr<LoopSource> watchChild(int process, std::function<void(int)> action);
  /// Handles the signal by calling `action` from the loop, before anything else that is due.
  [[nodiscard]] std::unique_ptr<LoopSource> watchSignal(int signal, std::function<void()> action);

  /// Runs one iteration; blocks for at most `timeout` (negative: no limit). False if the loop failed.
  [[nodiscard]] bool turnOnce(std::chrono::nanoseconds timeout);
  /// Runs until quit(). False if the loop failed.
  [[nodiscard]] bool run();
  void quit();

 private:
  LinuxRunLoop();
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tarvel
