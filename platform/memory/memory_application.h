#pragma once

#include "platform/application.h"
#include "platform/memory/memory_run_loop.h"

namespace tarvel {

/// An application on a virtual-time run loop.
class MemoryApplication final : public Application {
 public:
  explicit MemoryApplication(MemoryRunLoop& runLoop) : runLoop_(runLoop) {}

  /// Runs the loop until the application is terminated. When nothing is pending, a real loop would wait forever; here a
  /// termination signal arrives.
  [[nodiscard]] int run(ApplicationDelegate& delegate) override;
  void terminate() override;
  bool restartIfReplaced() override;
  [[nodiscard]] bool isEndRequested() override { return isTerminated_ || isEndRequested_; }

  /// The first half of run(): calls applicationDidFinishLaunching(); the test then runs the loop.
  void launch(ApplicationDelegate& delegate);
  /// Simulates another running instance.
  void setOtherInstanceRuns() { otherInstanceRuns_ = true; }
  /// Simulates an upgrade of the program while a service manager runs it.
  void setIsReplaced() { isReplaced_ = true; }
  /// Whether a restart was requested.
  [[nodiscard]] bool isRestarting() const { return status_ == kRestartStatus; }
  /// Simulates a termination signal during a callback.
  void requestEnd() { isEndRequested_ = true; }
  [[nodiscard]] bool isTerminated() const { return isTerminated_; }

 private:
  MemoryRunLoop& runLoop_;
  ApplicationDelegate* delegate_ = nullptr;
  bool otherInstanceRuns_ = false;
  bool isTerminated_ = false;
  bool isReplaced_ = false;
  int status_ = 0;
  bool isEndRequested_ = false;
};

}  // namespace tarvel
