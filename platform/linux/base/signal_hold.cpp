#include "platform/linux/base/signal_hold.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <mutex>

namespace tarvel {

namespace {

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

struct Held {
  std::mutex mutex;
  int holds = 0;
  std::array<struct sigaction, kEndingSignals.size()> before{};
};

Held& held() {
  static Held state;
  return state;
}

std::array<std::atomic<bool>, kEndingSignals.size()> cameMeanwhile{};
static_assert(std::atomic<bool>::is_always_lock_free, "A signal handler may touch nothing else.");

void remember(int signal) {
  for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
    if (kEndingSignals[i] == signal) cameMeanwhile[i] = true;
  }
}

bool endsTheProcess(const struct sigaction& action) {
  return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_DFL;
}

}  // namespace

SignalHold::SignalHold() {
  const std::scoped_lock lock(held().mutex);
  if (held().holds++ > 0) return;
  struct sigaction remembering {};
  remembering.sa_handler = remember;
  remembering.sa_flags = SA_RESTART;
  for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
    struct sigaction& before = held().before[i];
    const bool isKnown = ::sigaction(kEndingSignals[i], nullptr, &before) == 0;
    if (isKnown && endsTheProcess(before)) (void)::sigaction(kEndingSignals[i], &remembering, nullptr);
  }
}

SignalHold::~SignalHold() {
  // Keeps errno for the caller's error report.
  const int code = errno;
  const std::scoped_lock lock(held().mutex);
  if (--held().holds > 0) return;
  for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
    const struct sigaction& before = held().before[i];
    if (!endsTheProcess(before)) continue;
    (void)::sigaction(kEndingSignals[i], &before, nullptr);
    if (cameMeanwhile[i].exchange(false)) (void)::kill(::getpid(), kEndingSignals[i]);
  }
  errno = code;
}

}  // namespace tarvel
