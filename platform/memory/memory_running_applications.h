#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/running_applications.h"

namespace tarvel {

/// Running applications as set by a test, and a record of activations.
class MemoryRunningApplications final : public RunningApplications {
 public:
  /// Adds a process of the application, recorded as `name`.
  void addRunning(const std::string& bundleIdentifier, const std::string& name);
  /// Whether activation succeeds; it is recorded either way.
  void setActivationWorks(bool works) { record_->works = works; }
  /// Called during each activation, after it was recorded. May change the running applications.
  void setActivationHook(std::function<void(const std::string& name)> hook) { record_->hook = std::move(hook); }
  /// Sets the name of currentApplication(): "self" by default.
  void setCurrent(const std::string& name) { current_ = name; }
  /// "NAME OPTIONS" for each, in order.
  [[nodiscard]] const std::vector<std::string>& activations() const { return record_->activations; }

  [[nodiscard]] std::vector<std::shared_ptr<RunningApplication>> runningApplicationsWithBundleIdentifier(
      std::string_view bundleIdentifier) override;
  [[nodiscard]] std::shared_ptr<RunningApplication> currentApplication() override;

 private:
  struct Record {
    std::vector<std::string> activations;
    std::function<void(const std::string& name)> hook;
    bool works = true;
  };
  class Application;

  std::shared_ptr<Record> record_ = std::make_shared<Record>();
  std::string current_ = "self";
  std::map<std::string, std::vector<std::string>, std::less<>> names_;
};

}  // namespace tarvel
