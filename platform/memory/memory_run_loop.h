#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/memory/virtual_time.h"
#include "platform/run_loop.h"

namespace tarvel {

/// A run loop in virtual time: it runs only within advanceBy() and runNext(), and calls each entry at its due time.
class MemoryRunLoop final : public RunLoop {
 public:
  /// `time` is borrowed and may be shared with clocks; sleeping on it delays due entries, as on a real loop.
  explicit MemoryRunLoop(VirtualTime& time) : time_(time) {}
  ~MemoryRunLoop() override;

  void performSelectorWithObjectAfterDelay(const void* target, std::string_view selector, const void* object,
                                           std::function<void()> action, double delay) override;
  void cancelPreviousPerformRequestsWithTargetSelectorObject(const void* target, std::string_view selector,
                                                             const void* object) override;
  [[nodiscard]] std::unique_ptr<Timer> scheduledTimerWithTimeIntervalRepeats(double interval,
                                                                             std::function<void()> action) override;

  /// For the other classes of this folder: queues a call of `action`. Returns a number for cancellation.
  std::uint64_t callAfter(std::chrono::nanoseconds delay, std::function<void()> action);
  void cancelCall(std::uint64_t number);

  /// Advances time by `duration` and runs everything due until then, inclusive.
  void advanceBy(std::chrono::nanoseconds duration);
  /// Advances time to the next entry and runs it. False if nothing is pending.
  bool runNext();
  /// Stops calling anything, permanently.
  void halt() { isHalted_ = true; }

  /// Time until the next request or call; none without one. Timers do not count.
  [[nodiscard]] std::optional<std::chrono::nanoseconds> untilNextRequest() const;
  [[nodiscard]] std::size_t pendingRequestCount() const { return queue_.size(); }
  [[nodiscard]] std::size_t timerCount() const { return timers_.size(); }
  [[nodiscard]] VirtualTime& time() { return time_; }

 private:
  class MemoryTimer;
  struct Entry {
    std::chrono::nanoseconds due;
    std::uint64_t number;
    const void* target;
    std::string selector;
    const void* object;
    std::function<void()> action;
  };
  /// The next entry: of the queue, or a timer.
  struct Next {
    std::chrono::nanoseconds wait;
    MemoryTimer* timer;
  };

  void enqueue(Entry entry);
  [[nodiscard]] std::optional<Next> next() const;
  void call(const Next& next);

  VirtualTime& time_;
  /// Ordered by due time, then by number.
  std::vector<Entry> queue_;
  std::vector<MemoryTimer*> timers_;
  std::uint64_t lastNumber_ = 0;
  bool isHalted_ = false;
};

}  // namespace tarvel
