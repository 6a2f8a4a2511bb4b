#include "tools/terminal/shown_progress.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>

#include "platform/linux/base/unique_fd.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

constexpr int kTerminal = STDERR_FILENO;
/// How long to wait for another write to the terminal.
constexpr std::chrono::milliseconds kPatience{100};

bool canShow() {
  const char* term = std::getenv("TERM");
  return ::isatty(kTerminal) == 1 && term != nullptr && *term != '\0' && std::string_view(term) != "dumb";
}

/// False for a terminal that was stopped, or that another program has in the foreground.
bool takesText() {
  pollfd terminal{kTerminal, POLLOUT, 0};
  return ::tcgetpgrp(kTerminal) == ::getpgrp() && ::poll(&terminal, 1, 0) == 1 && (terminal.revents & POLLOUT) != 0;
}

void put(const std::string& text) {
  [[maybe_unused]] const ssize_t written = ::write(kTerminal, text.data(), text.size());
}

/// The signals that end the program, unless its parent had them ignored or blocked.
sigset_t endingSignals() {
  sigset_t signals;
  sigset_t heldBack;
  (void)::sigemptyset(&signals);
  (void)::pthread_sigmask(SIG_BLOCK, nullptr, &heldBack);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    struct sigaction action {};
    const bool isDefault = ::sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_DFL;
    if (isDefault && ::sigismember(&heldBack, number) == 0) (void)::sigaddset(&signals, number);
  }
  return signals;
}

}  // namespace

class ShownProgress::Display {
 public:
  explicit Display(Clock& clock)
      : clock_(clock), line_(clock.monotonic()), signals_(endingSignals()), stop_(::eventfd(0, EFD_CLOEXEC)) {
    (void)::pthread_sigmask(SIG_BLOCK, &signals_, &earlierMask_);
    ending_ = UniqueFd(::signalfd(-1, &signals_, SFD_CLOEXEC | SFD_NONBLOCK));
    // Without these the thread could not be stopped, so nothing is shown.
    try {
      if (stop_ && ending_) thread_ = std::thread([this] { watch(); });
    } catch (const std::system_error&) {
    }
    if (!thread_.joinable()) (void)::pthread_sigmask(SIG_SETMASK, &earlierMask_, nullptr);
  }

  ~Display() {
    const std::uint64_t one = 1;
    if (thread_.joinable()) {
      [[maybe_unused]] const ssize_t written = ::write(stop_.get(), &one, sizeof one);
      thread_.join();
    }
    erase();
    // A signal that the thread did not receive any more is delivered now.
    (void)::pthread_sigmask(SIG_SETMASK, &earlierMask_, nullptr);
  }
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;

  [[nodiscard]] Progress& progress() { return progress_; }

  /// Erases the line; it is drawn again below.
  void log(SystemLog& log, std::string_view message) {
    const std::scoped_lock lock(mutex_);
    erase();
    log.log(message);
  }

 private:
  void erase() {
    if (const std::string text = line_.erase(); !text.empty() && takesText()) put(text);
  }

  void watch() {
    for (std::chrono::milliseconds pause = ProgressLine::kDelay;; pause = ProgressLine::kPause) {
      std::array<pollfd, 2> awaited{{{stop_.get(), POLLIN, 0}, {ending_.get(), POLLIN, 0}}};
      (void)::poll(awaited.data(), awaited.size(), static_cast<int>(pause.count()));
      signalfd_siginfo signal{};
      if (::read(ending_.get(), &signal, sizeof signal) == sizeof signal) end(static_cast<int>(signal.ssi_signo));
      if (awaited[0].revents != 0) return;
      // Signals must not wait for a log line that the terminal does not accept.
      const std::unique_lock lock(mutex_, std::try_to_lock);
      if (!lock || !takesText()) continue;
      if (const auto text = line_.draw(progress_, clock_.monotonic(), terminalColumns(kTerminal))) put(*text);
    }
  }

  /// Ends the program by the signal itself, so that its parent sees the signal.
  void end(int signal) {
    const std::unique_lock lock(mutex_, kPatience);
    if (lock) erase();
    (void)::kill(::getpid(), signal);
    (void)::pthread_sigmask(SIG_UNBLOCK, &signals_, nullptr);
  }

  Clock& clock_;
  Progress progress_;
  std::timed_mutex mutex_;
  ProgressLine line_;
  sigset_t signals_;
  sigset_t earlierMask_{};
  UniqueFd stop_;
  UniqueFd ending_;
  std::thread thread_;
};

void ShownProgress::Log::log(std::string_view message) {
  if (display_ == nullptr) return log_.log(message);
  display_->log(log_, message);
}

ShownProgress::ShownProgress(const Platform& platform)
    : display_(canShow() ? std::make_unique<Display>(platform.clock) : nullptr),
      log_(platform.systemLog, display_.get()),
      platform_{platform.propertyLists, platform.fileManager, platform.collator, platform.uuidSource, log_,
                platform.bundle,        platform.workspace,   platform.clock} {}

ShownProgress::~ShownProgress() = default;

StageObserver* ShownProgress::observer() { return display_ ? &display_->progress() : nullptr; }

}  // namespace tarvel
