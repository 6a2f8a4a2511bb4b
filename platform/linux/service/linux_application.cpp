#include "platform/linux/service/linux_application.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <utility>

#include "platform/linux/service/autostart_files.h"

namespace tarvel {

namespace {

constexpr std::array<int, 3> kEndingSignals = {SIGTERM, SIGINT, SIGHUP};

}  // namespace

LinuxApplication::LinuxApplication(LinuxRunLoop& runLoop, SystemLog& systemLog, std::string identifier,
                                   OwnProgram program)
    : runLoop_(runLoop), systemLog_(systemLog), identifier_(std::move(identifier)), program_(std::move(program)) {}

bool LinuxApplication::takeLock() {
  const std::string path = instanceLockPath(identifier_);
  lock_.emplace(path);
  if (lock_->state() == InstanceLock::State::kHeldByOther) {
    systemLog_.log("TarvelHelper is already running for this user, terminating.");
    return false;
  }
  // Two agents do less harm than none.
  if (lock_->state() == InstanceLock::State::kUnavailable) {
    systemLog_.log("Could not make sure that no other TarvelHelper is running: " + path + ": " + lock_->reason());
  }
  return true;
}

void LinuxApplication::watchSignals() {
  // Writing to a closed pipe must fail with an error, not end the process.
  (void)std::signal(SIGPIPE, SIG_IGN);
  // So must writing beyond RLIMIT_FSIZE: the file stays unchanged and the error is handled.
  (void)std::signal(SIGXFSZ, SIG_IGN);
  for (const int signal : kEndingSignals) {
    if (auto source = runLoop_.watchSignal(signal, [this] { terminate(); })) signals_.push_back(std::move(source));
  }
}

int LinuxApplication::run(ApplicationDelegate& delegate) {
  // First, so that an early signal waits instead of ending the process.
  watchSignals();
  if (!takeLock()) return 0;
  delegate_ = &delegate;
  delegate.applicationDidFinishLaunching();
  if (isTerminated_ || runLoop_.run()) return status_;
  systemLog_.log("The run loop broke down, terminating.");
  terminate();
  return 1;
}

bool LinuxApplication::restartIfReplaced() {
  if (isTerminated_ || delegate_ == nullptr) return false;
  if (!program_.isReplaced() || !program_.isRunByUnit(kAgentUnit)) return false;
  systemLog_.log("Another version of TarvelHelper is installed, restarting.");
  status_ = kRestartStatus;
  terminate();
  return true;
}

void LinuxApplication::terminate() {
  if (isTerminated_ || delegate_ == nullptr) return;
  isTerminated_ = true;
  // Several of them may arrive at the end of a session; the first one is being handled.
  for (const int signal : kEndingSignals) (void)std::signal(signal, SIG_IGN);
  runLoop_.quit();
  delegate_->applicationWillTerminate();
}

bool LinuxApplication::isEndRequested() {
  // The loop handles these signals; until then they stay blocked.
  sigset_t waiting;
  if (isTerminated_ || ::sigpending(&waiting) != 0) return isTerminated_;
  return std::ranges::any_of(kEndingSignals, [&](int signal) { return ::sigismember(&waiting, signal) == 1; });
}

}  // namespace tarvel
