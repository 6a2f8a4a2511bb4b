#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace tarvel {

/// Brings all windows to the front of other applications. The original platform's value.
inline constexpr std::uint32_t kActivateIgnoringOtherApps = 2;

/// A running application, with or without windows.
class RunningApplication {
 public:
  virtual ~RunningApplication() = default;

  /// Brings the application to the front. False on failure.
  virtual bool activateWithOptions(std::uint32_t options) = 0;
};

class RunningApplications {
 public:
  virtual ~RunningApplications() = default;

  /// Empty when none is running.
  [[nodiscard]] virtual std::vector<std::shared_ptr<RunningApplication>> runningApplicationsWithBundleIdentifier(
      std::string_view bundleIdentifier) = 0;
  /// This process. Never null.
  [[nodiscard]] virtual std::shared_ptr<RunningApplication> currentApplication() = 0;
};

}  // namespace tarvel
