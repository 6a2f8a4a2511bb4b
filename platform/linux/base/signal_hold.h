#pragma once

// Internal to platform/linux.
namespace tarvel {

/// Defers SIGINT, SIGTERM, SIGHUP and SIGQUIT during its lifetime, for steps that must not be interrupted. Deferred
/// signals are raised at the end.
///
/// Applies to the whole process, as the kernel may deliver a signal to any thread; a signal mask would hold for one
/// thread only. Signals with a handler and ignored signals are left alone. Nestable and thread-safe.
class SignalHold {
 public:
  SignalHold();
  ~SignalHold();
  SignalHold(const SignalHold&) = delete;
  SignalHold& operator=(const SignalHold&) = delete;
};

}  // namespace tarvel
