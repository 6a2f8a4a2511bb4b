#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "platform/date.h"

namespace tarvel {

/// A repeating timer of a run loop. Destroying it stops it, also from within its own action.
class Timer {
 public:
  virtual ~Timer() = default;

  /// Moves the next firing to `fireDate`, an instant of the wall clock that may have passed; later ones follow every
  /// interval after it.
  virtual void setFireDate(const Date& fireDate) = 0;
  /// The next firing.
  [[nodiscard]] virtual Date fireDate() const = 0;
};

/// Delivers delayed requests and timers on the thread that turns it. Nothing here may be called from another thread.
class RunLoop {
 public:
  virtual ~RunLoop() = default;

  /// Calls `action` once, `delay` seconds from now, counted while the machine is awake and whatever the wall clock
  /// does. Requests come in the order in which they fall due; at one instant, in the order in which they were made.
  /// `target`, `selector` and `object` only name the request, for taking it back; several may be pending under one
  /// name. They are compared, by address and by text, and never used.
  virtual void performSelectorWithObjectAfterDelay(const void* target, std::string_view selector, const void* object,
                                                   std::function<void()> action, double delay) = 0;

  /// Takes back every pending request of exactly this name. Such a request never runs, even if it is due already.
  virtual void cancelPreviousPerformRequestsWithTargetSelectorObject(const void* target, std::string_view selector,
                                                                     const void* object) = 0;

  /// A timer that calls `action` every `interval` seconds of the wall clock, first one interval from now. Firings that
  /// were missed, because the machine slept or the loop was busy, come as one, and the later ones keep their phase. An
  /// interval of 0 or below counts as 0.0001 seconds.
  [[nodiscard]] virtual std::unique_ptr<Timer> scheduledTimerWithTimeIntervalRepeats(double interval,
                                                                                     std::function<void()> action) = 0;
};

}  // namespace tarvel
