#include "platform/memory/memory_running_applications.h"

#include <utility>

namespace tarvel {

class MemoryRunningApplications::Application final : public RunningApplication {
 public:
  Application(std::shared_ptr<Record> record, std::string name) : record_(std::move(record)), name_(std::move(name)) {}

  bool activateWithOptions(std::uint32_t options) override {
    record_->activations.push_back(name_ + " " + std::to_string(options));
    if (record_->hook) record_->hook(name_);
    return record_->works;
  }

 private:
  std::shared_ptr<Record> record_;
  std::string name_;
};

void MemoryRunningApplications::addRunning(const std::string& bundleIdentifier, const std::string& name) {
  names_[bundleIdentifier].push_back(name);
}

std::vector<std::shared_ptr<RunningApplication>> MemoryRunningApplications::runningApplicationsWithBundleIdentifier(
    std::string_view bundleIdentifier) {
  std::vector<std::shared_ptr<RunningApplication>> applications;
  const auto found = names_.find(bundleIdentifier);
  if (found == names_.end()) return applications;
  for (const std::string& name : found->second) applications.push_back(std::make_shared<Application>(record_, name));
  return applications;
}

std::shared_ptr<RunningApplication> MemoryRunningApplications::currentApplication() {
  return std::make_shared<Application>(record_, current_);
}

}  // namespace tarvel
