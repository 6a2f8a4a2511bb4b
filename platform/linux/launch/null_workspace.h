#pragma once

#include "platform/workspace.h"

namespace tarvel {

/// A workspace for programs that launch nothing.
class NullWorkspace final : public Workspace {
 public:
  void noteFileSystemChanged(const std::string& /*path*/) override {}
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
