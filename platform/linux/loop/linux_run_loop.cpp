#include "platform/linux/loop/linux_run_loop.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <ctime>
#include <map>
#include <string>
#include <utility>

#include "platform/linux/base/idle_memory.h"
#include "platform/linux/base/unique_fd.h"
#include "platform/linux/loop/linux_timer.h"

namespace tarvel {

namespace {

using std::chrono::nanoseconds;

nanoseconds monotonicNow() {
  timespec time{};
  (void)::clock_gettime(CLOCK_MONOTONIC, &time);
  return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

/// In sd-event's microseconds, rounded up so that nothing fires early.
std::uint64_t microseconds(nanoseconds time) {
  return static_cast<std::uint64_t>(
      std::chrono::ceil<std::chrono::microseconds>(std::max(time, nanoseconds(0))).count());
}

struct SourceDeleter {
  void operator()(sd_event_source* source) const { (void)sd_event_source_disable_unref(source); }
};
using SourcePointer = std::unique_ptr<sd_event_source, SourceDeleter>;

/// A descriptor and its callback.
class DescriptorSource final : public LoopSource {
 public:
  using Action = std::function<void(std::uint32_t)>;

  [[nodiscard]] static std::unique_ptr<DescriptorSource> create(sd_event* event, int descriptor, std::uint32_t events,
                                                                Action action) {
    std::unique_ptr<DescriptorSource> made(new DescriptorSource(std::move(action)));
    sd_event_source* source = nullptr;
    if (sd_event_add_io(event, &source, descriptor, events, dispatch, made.get()) < 0) return nullptr;
    made->source_.reset(source);
    return made;
  }

 private:
  explicit DescriptorSource(Action action) : action_(std::make_shared<Action>(std::move(action))) {}

  static int dispatch(sd_event_source* /*source*/, int /*descriptor*/, std::uint32_t events, void* self) noexcept {
    // The callback may destroy the source.
    const auto action = static_cast<DescriptorSource*>(self)->action_;
    (*action)(events);
    return 0;
  }

  std::shared_ptr<Action> action_;
  SourcePointer source_;
};

/// A signal handled by the loop.
class SignalSource final : public LoopSource {
 public:
  [[nodiscard]] static std::unique_ptr<SignalSource> create(sd_event* event, int signal, std::function<void()> action) {
    std::unique_ptr<SignalSource> made(new SignalSource(signal, std::move(action)));
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal);
    if (::pthread_sigmask(SIG_BLOCK, &one, &made->previousMask_) != 0) return nullptr;
    sd_event_source* source = nullptr;
    if (sd_event_add_signal(event, &source, signal, dispatch, made.get()) < 0) return nullptr;
    made->source_.reset(source);
    (void)sd_event_source_set_priority(source, SD_EVENT_PRIORITY_IMPORTANT);
    return made;
  }

  ~SignalSource() override {
    source_.reset();
    if (sigismember(&previousMask_, signal_) != 0) return;
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal_);
    (void)::pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
  }
  SignalSource(const SignalSource&) = delete;
  SignalSource& operator=(const SignalSource&) = delete;

 private:
  SignalSource(int signal, std::function<void()> action)
      : signal_(signal), action_(std::make_shared<std::function<void()>>(std::move(action))) {
    sigemptyset(&previousMask_);
  }

  static int dispatch(sd_event_source* /*source*/, const signalfd_siginfo* /*info*/, void* self) noexcept {
    const auto action = static_cast<SignalSource*>(self)->action_;
    (*action)();
    return 0;
  }

  int signal_;
  sigset_t previousMask_{};
  std::shared_ptr<std::function<void()>> action_;
  SourcePointer source_;
};

/// A child process, watched by a pidfd: no signal handler, and no other child is reaped.
class ChildSource final : public LoopSource {
 public:
  [[nodiscard]] static std::unique_ptr<ChildSource> create(LinuxRunLoop& loop, int process,
                                                           std::function<void(int)> action) {
    std::unique_ptr<ChildSource> made(new ChildSource(process, std::move(action)));
    made->descriptor_ = UniqueFd(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    if (!made->descriptor_) return nullptr;
    ChildSource* const self = made.get();
    made->source_ = loop.watchDescriptor(made->descriptor_.get(), EPOLLIN, [self](std::uint32_t) { self->reap(); });
    return made->source_ ? std::move(made) : nullptr;
  }

 private:
  ChildSource(int process, std::function<void(int)> action)
      : process_(process), action_(std::make_shared<std::function<void(int)>>(std::move(action))) {}

  void reap() {
    int status = 0;
    const pid_t reaped = ::waitpid(process_, &status, WNOHANG);
    if (reaped == 0) return;
    source_.reset();
    const auto action = action_;
    (*action)(reaped == process_ ? status : -1);
  }

  int process_;
  std::shared_ptr<std::function<void(int)>> action_;
  UniqueFd descriptor_;
  std::unique_ptr<LoopSource> source_;
};

}  // namespace

struct LinuxRunLoop::Implementation {
  /// Due time and sequence number.
  using Key = std::pair<nanoseconds, std::uint64_t>;
  struct Entry {
    const void* target = nullptr;
    std::string selector;
    const void* object = nullptr;
    std::function<void()> action;
    /// False for internal calls, which cannot be cancelled by name.
    bool isNamed = false;
  };

  /// A queued call; destroying it cancels the call.
  class Call final : public LoopSource {
   public:
    Call(std::weak_ptr<Implementation*> loop, Key key) : loop_(std::move(loop)), key_(key) {}
    ~Call() override {
      if (const auto loop = loop_.lock()) (*loop)->queue.erase(key_);
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

   private:
    std::weak_ptr<Implementation*> loop_;
    Key key_;
  };

  ~Implementation() {
    queueSource.reset();
    (void)sd_event_unref(event);
  }

  Key add(nanoseconds delay, Entry entry) {
    const Key key{monotonicNow() + std::max(delay, nanoseconds(0)), ++lastNumber};
    queue.emplace(key, std::move(entry));
    if (queue.begin()->first == key) arm();
    return key;
  }

  /// Sets the timer to the first entry. A stale expiry finds nothing due.
  void arm() {
    if (queue.empty()) return;
    (void)sd_event_source_set_time(queueSource.get(), microseconds(queue.begin()->first.first));
    (void)sd_event_source_set_enabled(queueSource.get(), SD_EVENT_ONESHOT);
  }

  /// One entry per iteration, so that signals do not wait for all due entries.
  static int dispatch(sd_event_source* /*source*/, std::uint64_t /*time*/, void* self) noexcept {
    auto& loop = *static_cast<Implementation*>(self);
    if (loop.queue.empty()) return 0;
    if (loop.queue.begin()->first.first > monotonicNow()) {
      loop.arm();
      return 0;
    }
    const Entry entry = std::move(loop.queue.begin()->second);
    loop.queue.erase(loop.queue.begin());
    loop.arm();
    entry.action();
    return 0;
  }

  sd_event* event = nullptr;
  SourcePointer queueSource;
  std::map<Key, Entry> queue;
  std::uint64_t lastNumber = 0;
  bool isQuit = false;
  /// Lets calls that outlive the loop detect that it is gone.
  std::shared_ptr<Implementation*> self = std::make_shared<Implementation*>(this);
};

LinuxRunLoop::LinuxRunLoop() : implementation_(std::make_unique<Implementation>()) {}

LinuxRunLoop::~LinuxRunLoop() = default;

std::unique_ptr<LinuxRunLoop> LinuxRunLoop::create() {
  std::unique_ptr<LinuxRunLoop> loop(new LinuxRunLoop);
  Implementation& made = *loop->implementation_;
  sd_event_source* source = nullptr;
  constexpr std::uint64_t kAccuracy = 1;
  if (sd_event_new(&made.event) < 0 ||
      sd_event_add_time(made.event, &source, CLOCK_MONOTONIC, 0, kAccuracy, Implementation::dispatch, &made) < 0) {
    return nullptr;
  }
  made.queueSource.reset(source);
  (void)sd_event_source_set_enabled(source, SD_EVENT_OFF);
  return loop;
}

void LinuxRunLoop::performSelectorWithObjectAfterDelay(const void* target, std::string_view selector,
                                                       const void* object, std::function<void()> action, double delay) {
  (void)implementation_->add(nanosecondsOf(delay), {target, std::string(selector), object, std::move(action), true});
}

void LinuxRunLoop::cancelPreviousPerformRequestsWithTargetSelectorObject(const void* target, std::string_view selector,
                                                                         const void* object) {
  std::erase_if(implementation_->queue, [&](const auto& item) {
    const Implementation::Entry& entry = item.second;
    return entry.isNamed && entry.target == target && entry.selector == selector && entry.object == object;
  });
}

std::unique_ptr<Timer> LinuxRunLoop::scheduledTimerWithTimeIntervalRepeats(double interval,
                                                                           std::function<void()> action) {
  return LinuxTimer::create(
      [this](int descriptor, std::uint32_t events, std::function<void(std::uint32_t)> ready) {
        return watchDescriptor(descriptor, events, std::move(ready));
      },
      interval, std::move(action));
}

sd_event* LinuxRunLoop::event() { return implementation_->event; }

std::unique_ptr<LoopSource> LinuxRunLoop::callAfter(nanoseconds delay, std::function<void()> action) {
  const Implementation::Key key = implementation_->add(delay, {nullptr, {}, nullptr, std::move(action), false});
  return std::make_unique<Implementation::Call>(implementation_->self, key);
}

std::unique_ptr<LoopSource> LinuxRunLoop::watchDescriptor(int descriptor, std::uint32_t events,
                                                          std::function<void(std::uint32_t)> action) {
  return DescriptorSource::create(implementation_->event, descriptor, events, std::move(action));
}

std::unique_ptr<LoopSource> LinuxRunLoop::watchChild(int process, std::function<void(int)> action) {
  return ChildSource::create(*this, process, std::move(action));
}

std::unique_ptr<LoopSource> LinuxRunLoop::watchSignal(int signal, std::function<void()> action) {
  return SignalSource::create(implementation_->event, signal, std::move(action));
}

bool LinuxRunLoop::turnOnce(nanoseconds timeout) {
  const std::uint64_t wait = timeout < nanoseconds(0) ? UINT64_MAX : microseconds(timeout);
  return sd_event_run(implementation_->event, wait) >= 0;
}

bool LinuxRunLoop::run() {
  constexpr std::uint64_t kBriefWait = 1'000'000;
  IdleMemory memory;
  std::uint64_t wait = kBriefWait;
  while (!implementation_->isQuit) {
    const int dispatched = sd_event_run(implementation_->event, wait);
    if (dispatched < 0) return false;
    // After a second without events: one wake-up more, and none until the next event.
    if (dispatched == 0) memory.release();
    wait = dispatched == 0 ? UINT64_MAX : kBriefWait;
  }
  return true;
}

void LinuxRunLoop::quit() { implementation_->isQuit = true; }

}  // namespace tarvel
