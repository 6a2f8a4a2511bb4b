#pragma once

#include "platform/workspace.h"

namespace tarvel {

/// File managers here watch folders themselves: an announcement has nobody to go to.
class LinuxWorkspace final : public Workspace {
 public:
  void noteFileSystemChanged(const std::string& /*path*/) override {}
  // Nothing is launched yet.
  [[nodiscard]] bool offersLaunchApplicationAtUrl() override { return false; }
  [[nodiscard]] bool launchApplicationAtUrlOptions(const std::string& /*path*/, std::uint32_t /*options*/) override {
    return false;
  }
  [[nodiscard]] bool launchApplication(const std::string& /*path*/) override { return false; }
  [[nodiscard]] bool launchAppWithBundleIdentifierOptions(std::string_view /*bundleIdentifier*/,
                                                          std::uint32_t /*options*/) override {
    return false;
  }
};

}  // namespace tarvel
