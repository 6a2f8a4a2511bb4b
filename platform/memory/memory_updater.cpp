#include "platform/memory/memory_updater.h"

#include <algorithm>
#include <cmath>

namespace tarvel {

void MemoryUpdater::finishCheck(const std::optional<std::string>& version) {
  if (!isChecking_) return;
  // The delegate may begin the next one.
  isChecking_ = false;
  if (version && delegate_ != nullptr) delegate_->updaterDidFindValidUpdate(*this, {*version});
}

double MemoryUpdater::storedInterval() const { return std::isfinite(interval_) ? interval_ : 0; }

bool MemoryUpdater::automaticallyChecksForUpdates() {
  return automaticallyChecks_ && canCheck() && storedInterval() > 0;
}

double MemoryUpdater::updateCheckInterval() {
  constexpr double kLeastInterval = 60;
  return std::max(storedInterval(), kLeastInterval);
}

void MemoryUpdater::checkForUpdateInformation() {
  if (isChecking_ || !canCheck()) return;
  isChecking_ = true;
  ++checks_;
  // Settings keep whole seconds.
  lastCheckDate_ = Date{time_.wallClock().seconds, 0};
}

MemoryUpdater& MemoryUpdaters::at(const std::string& bundlePath) {
  std::unique_ptr<MemoryUpdater>& updater = updaters_[bundlePath];
  if (!updater) updater = std::make_unique<MemoryUpdater>(time_);
  return *updater;
}

Updater& MemoryUpdaters::updaterForBundle(const std::string& bundlePath) {
  askedPaths_.push_back(bundlePath);
  return at(bundlePath);
}

}  // namespace tarvel
