#pragma once

#include "platform/running_applications.h"

namespace tarvel {

/// Reports no running browser: Safari does not run on Linux.
class LinuxRunningApplications final : public RunningApplications {
 public:
  [[nodiscard]] std::vector<std::shared_ptr<RunningApplication>> runningApplicationsWithBundleIdentifier(
      std::string_view /*bundleIdentifier*/) override {
    return {};
  }
  [[nodiscard]] std::shared_ptr<RunningApplication> currentApplication() override {
    return std::make_shared<Faceless>();
  }

 private:
  /// An agent has no window to bring to the front.
  class Faceless final : public RunningApplication {
   public:
    bool activateWithOptions(std::uint32_t /*options*/) override { return false; }
  };
};

}  // namespace tarvel
