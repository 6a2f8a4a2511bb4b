#include "platform/memory/memory_run_loop.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

namespace tarvel {

namespace {

using std::chrono::nanoseconds;

/// A century, in place of what no clock could count to.
constexpr double kLongest = 100.0 * 366 * 24 * 3600;

nanoseconds fromSeconds(double seconds) {
  if (!(seconds > 0)) return nanoseconds(0);
  return nanoseconds(std::llround(std::min(seconds, kLongest) * 1e9));
}

nanoseconds sinceEpoch(const Date& date) { return std::chrono::seconds(date.seconds) + nanoseconds(date.nanoseconds); }

Date dateOf(nanoseconds sinceEpoch) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
  return {seconds.count(), static_cast<std::uint32_t>((sinceEpoch - seconds).count())};
}

}  // namespace

class MemoryRunLoop::MemoryTimer final : public Timer {
 public:
  MemoryTimer(MemoryRunLoop& loop, nanoseconds interval, std::function<void()> action)
      : loop_(loop), interval_(interval), action_(std::make_shared<std::function<void()>>(std::move(action))) {
    fireDate_ = sinceEpoch(loop.time_.wallClock()) + interval;
    loop_.timers_.push_back(this);
  }
  ~MemoryTimer() override { std::erase(loop_.timers_, this); }
  MemoryTimer(const MemoryTimer&) = delete;
  MemoryTimer& operator=(const MemoryTimer&) = delete;

  void setFireDate(const Date& fireDate) override { fireDate_ = sinceEpoch(fireDate); }
  [[nodiscard]] Date fireDate() const override { return dateOf(fireDate_); }

  [[nodiscard]] nanoseconds wait() const {
    return std::max(nanoseconds(0), fireDate_ - sinceEpoch(loop_.time_.wallClock()));
  }
  void fire() {
    const nanoseconds late = sinceEpoch(loop_.time_.wallClock()) - fireDate_;
    fireDate_ += interval_ * (late / interval_ + 1);
    // The timer may be destroyed in its action.
    const auto action = action_;
    (*action)();
  }

 private:
  MemoryRunLoop& loop_;
  nanoseconds interval_;
  nanoseconds fireDate_{};
  std::shared_ptr<std::function<void()>> action_;
};

MemoryRunLoop::~MemoryRunLoop() = default;

void MemoryRunLoop::enqueue(Entry entry) {
  const auto isLater = [](const Entry& a, const Entry& b) {
    return std::tie(a.due, a.number) < std::tie(b.due, b.number);
  };
  queue_.insert(std::upper_bound(queue_.begin(), queue_.end(), entry, isLater), std::move(entry));
}

void MemoryRunLoop::performSelectorWithObjectAfterDelay(const void* target, std::string_view selector,
                                                        const void* object, std::function<void()> action,
                                                        double delay) {
  enqueue({time_.monotonic() + fromSeconds(delay), ++lastNumber_, target, std::string(selector), object,
           std::move(action)});
}

void MemoryRunLoop::cancelPreviousPerformRequestsWithTargetSelectorObject(const void* target, std::string_view selector,
                                                                          const void* object) {
  std::erase_if(queue_, [&](const Entry& entry) {
    return entry.target == target && !entry.selector.empty() && entry.selector == selector && entry.object == object;
  });
}

std::uint64_t MemoryRunLoop::callAfter(nanoseconds delay, std::function<void()> action) {
  enqueue(
      {time_.monotonic() + std::max(delay, nanoseconds(0)), ++lastNumber_, nullptr, {}, nullptr, std::move(action)});
  return lastNumber_;
}

void MemoryRunLoop::cancelCall(std::uint64_t number) {
  std::erase_if(queue_, [&](const Entry& entry) { return entry.number == number; });
}

std::unique_ptr<Timer> MemoryRunLoop::scheduledTimerWithTimeIntervalRepeats(double interval,
                                                                            std::function<void()> action) {
  constexpr nanoseconds kLeast = std::chrono::microseconds(100);
  return std::make_unique<MemoryTimer>(*this, interval > 0 ? std::max(fromSeconds(interval), nanoseconds(1)) : kLeast,
                                       std::move(action));
}

std::optional<nanoseconds> MemoryRunLoop::untilNextRequest() const {
  if (queue_.empty()) return std::nullopt;
  return std::max(nanoseconds(0), queue_.front().due - time_.monotonic());
}

std::optional<MemoryRunLoop::Next> MemoryRunLoop::next() const {
  std::optional<Next> next;
  if (isHalted_) return next;
  if (const auto wait = untilNextRequest()) next = Next{*wait, nullptr};
  for (MemoryTimer* timer : timers_) {
    if (!next || timer->wait() < next->wait) next = Next{timer->wait(), timer};
  }
  return next;
}

void MemoryRunLoop::call(const Next& next) {
  time_.pass(next.wait);
  if (next.timer != nullptr) {
    next.timer->fire();
    return;
  }
  const Entry entry = std::move(queue_.front());
  queue_.erase(queue_.begin());
  entry.action();
}

bool MemoryRunLoop::runNext() {
  const auto upcoming = next();
  if (!upcoming) return false;
  call(*upcoming);
  return true;
}

void MemoryRunLoop::advanceBy(nanoseconds duration) {
  const nanoseconds end = time_.monotonic() + duration;
  for (auto upcoming = next(); upcoming && time_.monotonic() + upcoming->wait <= end; upcoming = next()) {
    call(*upcoming);
  }
  time_.pass(std::max(nanoseconds(0), end - time_.monotonic()));
}

}  // namespace tarvel
