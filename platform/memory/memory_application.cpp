#include "platform/memory/memory_application.h"

namespace tarvel {

void MemoryApplication::launch(ApplicationDelegate& delegate) {
  delegate_ = &delegate;
  delegate.applicationDidFinishLaunching();
}

int MemoryApplication::run(ApplicationDelegate& delegate) {
  if (otherInstanceRuns_) return 0;
  launch(delegate);
  while (!isTerminated_) {
    if (!runLoop_.runNext()) terminate();
  }
  return status_;
}

bool MemoryApplication::restartIfReplaced() {
  if (!isReplaced_ || isTerminated_ || delegate_ == nullptr) return false;
  status_ = kRestartStatus;
  terminate();
  return true;
}

void MemoryApplication::terminate() {
  if (isTerminated_ || delegate_ == nullptr) return;
  isTerminated_ = true;
  runLoop_.halt();
  delegate_->applicationWillTerminate();
}

}  // namespace tarvel
