#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/linux/loop/loop_source.h"
#include "platform/run_loop.h"

struct sd_event;

namespace tarvel {

/// The run loop of one thread, on sd-event. Delayed requests and the delayed calls of other parts of this folder stand
/// in one queue, ordered by when they fall due and then by when they were made.
class LinuxRunLoop final : public RunLoop {
 public:
  /// Null when the kernel gives no descriptors for it.
  [[nodiscard]] static std::unique_ptr<LinuxRunLoop> create();
  ~LinuxRunLoop() override;

  void performSelectorWithObjectAfterDelay(const void* target, std::string_view selector, const void* object,
                                           std::function<void()> action, double delay) override;
  void cancelPreviousPerformRequestsWithTargetSelectorObject(const void* target, std::string_view selector,
                                                             const void* object) override;
  [[nodiscard]] std::unique_ptr<Timer> scheduledTimerWithTimeIntervalRepeats(double interval,
                                                                             std::function<void()> action) override;

  // For the other parts of this folder.

  /// Borrowed. For sd-bus and what else attaches itself.
  [[nodiscard]] sd_event* event();
  /// Calls `action` once, `delay` from now on the monotonic clock, in the common queue. Null when out of memory.
  [[nodiscard]] std::unique_ptr<LoopSource> callAfter(std::chrono::nanoseconds delay, std::function<void()> action);
  /// Calls `action` with the poll(2) events that came, whenever the descriptor, which stays the caller's, has one of
  /// `events`. Null when the descriptor cannot be watched.
  [[nodiscard]] std::unique_ptr<LoopSource> watchDescriptor(int descriptor, std::uint32_t events,
                                                            std::function<void(std::uint32_t)> action);
  /// Reaps the child and calls `action` with its wait status. Null when there is no such child.
  [[nodiscard]] std::unique_ptr<LoopSource> watchChild(int process, std::function<void(int)> action);
  /// Calls `action` instead of the signal's default, from the loop and before anything else that is due.
  [[nodiscard]] std::unique_ptr<LoopSource> watchSignal(int signal, std::function<void()> action);

  /// Handles what is due; waits for it, at most `timeout` (negative: for ever). False when the loop is broken.
  [[nodiscard]] bool turnOnce(std::chrono::nanoseconds timeout);
  /// Turns until quit(). Answers whether it was quit rather than broken.
  [[nodiscard]] bool run();
  void quit();

 private:
  LinuxRunLoop();
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tarvel
