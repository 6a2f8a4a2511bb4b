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

  /// The first half of run(): the delegate is told that launching is over, and then the test turns the loop.
  void launch(ApplicationDelegate& delegate);
  /// From now on another instance of this application is running.
  void setOtherInstanceRuns() { otherInstanceRuns_ = true; }
  [[nodiscard]] bool isTerminated() const { return isTerminated_; }

 private:
  MemoryRunLoop& runLoop_;
  ApplicationDelegate* delegate_ = nullptr;
  bool otherInstanceRuns_ = false;
  bool isTerminated_ = false;
};

}  // namespace tarvel
