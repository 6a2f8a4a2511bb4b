#pragma once

// Internal to platform/linux.
namespace tarvel {

/// Keeps SIGINT, SIGTERM, SIGHUP and SIGQUIT from ending the process while this lives: for a step that must not stop
/// half way. A signal that came meanwhile is sent again at the end.
///
/// For all threads, whichever of them the kernel picks: so a signal mask of one thread would not do. Signals with a
/// handler, and ignored ones, are left alone. May be nested, and used by several threads at once.
class SignalHold {
 public:
  SignalHold();
  ~SignalHold();
  SignalHold(const SignalHold&) = delete;
  SignalHold& operator=(const SignalHold&) = delete;
};

}  // namespace tarvel
