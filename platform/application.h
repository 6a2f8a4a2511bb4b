#pragma once

namespace tarvel {

/// The exit status that asks the service manager for a new start, by "RestartForceExitStatus" in the unit. The number
/// is that of a temporary failure.
inline constexpr int kRestartStatus = 75;

/// What a program does at the two ends of its life.
class ApplicationDelegate {
 public:
  virtual ~ApplicationDelegate() = default;

  /// The application is up and its run loop is about to turn.
  virtual void applicationDidFinishLaunching() = 0;
  /// The last call before the process ends. Comes once.
  virtual void applicationWillTerminate() = 0;
};

/// The process as an application of the logged-in user: one of its kind per user, ended by terminate() or by a signal
/// that asks for an orderly end. Everything happens on the thread that called run().
class Application {
 public:
  virtual ~Application() = default;

  /// Tells the delegate that launching is over, then turns the run loop until the application is terminated. Answers
  /// the exit status of the process: kRestartStatus after restartIfReplaced(), and 0 also where another instance is
  /// running already: that one is logged and the delegate hears nothing. `delegate` is borrowed until run() returns.
  [[nodiscard]] virtual int run(ApplicationDelegate& delegate) = 0;

  /// Tells the delegate that the end has come, within this call, and makes run() return as soon as the callback that is
  /// under way returns: no request, timer, event or signal is handled any more. A second call does nothing.
  virtual void terminate() = 0;

  /// terminate(), with an exit status that has the service manager start the program again, if another version of the
  /// program is installed by now and a service manager runs this one. Answers whether. To be called when nothing is
  /// under way: the new process knows nothing of this one.
  virtual bool restartIfReplaced() = 0;

  /// Whether the end was asked for and waits for the callback that is under way, so that a long one can stop early.
  [[nodiscard]] virtual bool isEndRequested() = 0;
};

}  // namespace tarvel
