#pragma once

#include "platform/application.h"
#include "platform/memory/memory_run_loop.h"

namespace tarvel {

/// An application on a run loop of virtual time.
class MemoryApplication final : public Application {
 public:
  explicit MemoryApplication(MemoryRunLoop& runLoop) : runLoop_(runLoop) {}

  /// Turns the loop until the application is terminated. Where a real loop would wait for ever, because nothing is
  /// pending, the signal for an orderly end comes.
  [[nodiscard]] int run(ApplicationDelegate& delegate) override;
  void terminate() override;
  bool restartIfReplaced() override;
  [[nodiscard]] bool isEndRequested() override { return isTerminated_ || isEndRequested_; }

  /// The first half of run(): the delegate is told that launching is over, and then the test turns the loop.
  void launch(ApplicationDelegate& delegate);
  /// From now on another instance of this application is running.
  void setOtherInstanceRuns() { otherInstanceRuns_ = true; }
  /// From now on another version of the program is installed, and a service manager runs this one.
  void setIsReplaced() { isReplaced_ = true; }
  /// Whether the end asked for a new start.
  [[nodiscard]] bool isRestarting() const { return status_ == kRestartStatus; }
  /// As when a signal asks for the end while a callback is under way.
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
