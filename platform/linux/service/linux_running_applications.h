#pragma once

#include "platform/running_applications.h"

namespace tarvel {

/// The browser whose bookmarks these are does not run here, and nobody here is told to come to the front.
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
  /// An agent has no window that could come to the front.
  class Faceless final : public RunningApplication {
   public:
    bool activateWithOptions(std::uint32_t /*options*/) override { return false; }
  };
};

}  // namespace tarvel
