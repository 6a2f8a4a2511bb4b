#include "platform/memory/memory_updater.h"

namespace tarvel {

void MemoryUpdater::reportUpdate(const std::string& version) {
  if (delegate_ != nullptr) delegate_->updaterDidFindValidUpdate(*this, {version});
}

MemoryUpdater& MemoryUpdaters::at(const std::string& bundlePath) {
  std::unique_ptr<MemoryUpdater>& updater = updaters_[bundlePath];
  if (!updater) updater = std::make_unique<MemoryUpdater>();
  return *updater;
}

Updater& MemoryUpdaters::updaterForBundle(const std::string& bundlePath) {
  askedPaths_.push_back(bundlePath);
  return at(bundlePath);
}

}  // namespace tarvel
