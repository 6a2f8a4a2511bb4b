#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "platform/date.h"

namespace tarvel {

/// A repeating timer. Destroying it stops it, even from within its own callback.
class Timer {
 public:
  virtual ~Timer() = default;

  /// Sets the next firing to `fireDate`, which may be in the past; later firings follow at the interval.
  virtual void setFireDate(const Date& fireDate) = 0;
  /// The next firing.
  [[nodiscard]] virtual Date fireDate() const = 0;
};

/// Runs delayed requests and timers on its own thread. Single-threaded.
class RunLoop {
 public:
  virtual ~RunLoop() = default;

  /// Calls `action` once, `delay` seconds from now on the monotonic clock, which stops during suspend. Requests run in
  /// order of due time, then of creation. `target`, `selector` and `object` only identify the request for cancellation:
  /// they are compared, never dereferenced. Several pending requests may have the same key.
  virtual void performSelectorWithObjectAfterDelay(const void* target, std::string_view selector, const void* object,
                                                   std::function<void()> action, double delay) = 0;

  /// Cancels all pending requests with exactly this key, even those already due.
  virtual void cancelPreviousPerformRequestsWithTargetSelectorObject(const void* target, std::string_view selector,
                                                                     const void* object) = 0;

  /// Calls `action` every `interval` seconds of the wall clock, first after one interval. Missed firings (suspend, busy
  /// loop) are coalesced into one, and later firings keep their phase. An interval of 0 or less becomes 0.0001 seconds.
  [[nodiscard]] virtual std::unique_ptr<Timer> scheduledTimerWithTimeIntervalRepeats(double interval,
                                                                                     std::function<void()> action) = 0;
};

}  // namespace tarvel
