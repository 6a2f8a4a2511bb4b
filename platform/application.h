#pragma once

namespace tarvel {

/// Exit status that makes the service manager restart the program ("RestartForceExitStatus" in the unit). The value is
/// EX_TEMPFAIL.
inline constexpr int kRestartStatus = 75;

/// Callbacks for the start and the end of the process.
class ApplicationDelegate {
 public:
  virtual ~ApplicationDelegate() = default;

  /// Called once, right before the run loop starts.
  virtual void applicationDidFinishLaunching() = 0;
  /// The last call before the process ends. Called once.
  virtual void applicationWillTerminate() = 0;
};

/// The process as an application of the logged-in user: a single instance per user, ended by terminate() or by a
/// termination signal. Single-threaded: everything runs on the thread that called run().
class Application {
 public:
  virtual ~Application() = default;

  /// Calls the delegate's applicationDidFinishLaunching(), then runs the loop until the application is terminated.
  /// Returns the exit status: 0, or kRestartStatus after restartIfReplaced(). If another instance is running, logs that
  /// and returns 0 without calling the delegate. `delegate` is borrowed until run() returns.
  [[nodiscard]] virtual int run(ApplicationDelegate& delegate) = 0;

  /// Calls applicationWillTerminate() before returning, and makes run() return as soon as the current callback returns:
  /// no further request, timer, event or signal is handled. Idempotent.
  virtual void terminate() = 0;

  /// If another version of the program has been installed and a service manager runs this process, terminates with
  /// kRestartStatus, so that the service manager starts the new version. Returns whether it did. Call it only when
  /// idle: no state is handed over.
  virtual bool restartIfReplaced() = 0;

  /// Whether termination is pending until the current callback returns; lets a long callback stop early.
  [[nodiscard]] virtual bool isEndRequested() = 0;
};

}  // namespace tarvel
