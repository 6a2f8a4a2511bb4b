#include "platform/linux/loop/linux_timer.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <utility>

namespace tarvel {

namespace {

using std::chrono::nanoseconds;

/// Nanoseconds since 1970 overflow 64 bits in 2262.
constexpr std::int64_t kLastSecond = 9'000'000'000;

nanoseconds wallClock() {
  timespec time{};
  (void)::clock_gettime(CLOCK_REALTIME, &time);
  return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

}  // namespace

LinuxTimer::LinuxTimer(nanoseconds interval, std::function<void()> action)
    : interval_(interval), action_(std::make_shared<std::function<void()>>(std::move(action))) {}

std::unique_ptr<LinuxTimer> LinuxTimer::create(const DescriptorWatch& watchDescriptor, double interval,
                                               std::function<void()> action) {
  constexpr nanoseconds kLeast = std::chrono::microseconds(100);
  const nanoseconds length = interval > 0 ? std::max(nanosecondsOf(interval), nanoseconds(1)) : kLeast;
  std::unique_ptr<LinuxTimer> timer(new LinuxTimer(length, std::move(action)));
  timer->descriptor_ = UniqueFd(::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC));
  if (!timer->descriptor_) return nullptr;
  LinuxTimer* const self = timer.get();
  timer->source_ = watchDescriptor(timer->descriptor_.get(), EPOLLIN, [self](std::uint32_t) { self->ring(); });
  if (!timer->source_) return nullptr;
  timer->fireDate_ = wallClock() + length;
  timer->arm();
  return timer;
}

void LinuxTimer::setFireDate(const Date& fireDate) {
  const std::int64_t seconds = std::clamp(fireDate.seconds, std::int64_t{0}, kLastSecond);
  fireDate_ = std::chrono::seconds(seconds) + nanoseconds(fireDate.nanoseconds);
  arm();
}

Date LinuxTimer::fireDate() const {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(fireDate_);
  return {seconds.count(), static_cast<std::uint32_t>((fireDate_ - seconds).count())};
}

void LinuxTimer::arm() {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(fireDate_);
  itimerspec time{};
  time.it_value = {seconds.count(), (fireDate_ - seconds).count()};
  // Zero would disarm the timer.
  if (time.it_value.tv_sec == 0 && time.it_value.tv_nsec == 0) time.it_value.tv_nsec = 1;
  (void)::timerfd_settime(descriptor_.get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &time, nullptr);
}

void LinuxTimer::ring() {
  std::uint64_t count = 0;
  // read() fails with ECANCELED when the clock was set; the date decides, not the expiry count.
  [[maybe_unused]] const ssize_t got = ::read(descriptor_.get(), &count, sizeof count);
  const nanoseconds late = wallClock() - fireDate_;
  if (late < nanoseconds(0)) {
    arm();
    return;
  }
  fireDate_ += interval_ * (late / interval_ + 1);
  arm();
  // The callback may destroy the timer.
  const auto action = action_;
  (*action)();
}

}  // namespace tarvel
