#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace tarvel {

/// Bring all windows to the front over whatever application is in front. The original platform's number.
inline constexpr std::uint32_t kActivateIgnoringOtherApps = 2;

/// An application that runs, with or without windows.
class RunningApplication {
 public:
  virtual ~RunningApplication() = default;

  /// Brings the application to the front. False when that could not be asked for.
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
