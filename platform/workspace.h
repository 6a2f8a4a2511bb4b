#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarvel {

/// Launch without waiting, with default behaviour. The original platform's value.
inline constexpr std::uint32_t kWorkspaceLaunchDefault = 0x30000;

/// The desktop environment.
class Workspace {
 public:
  virtual ~Workspace() = default;

  /// Announces to file viewers that a folder changed.
  virtual void noteFileSystemChanged(const std::string& path) = 0;

  // Launching. True means that the program was executed and outlives this process; no call waits for its
  // initialisation. A path names an executable, a desktop file, or a bundle whose executable is run.

  /// Whether launchApplicationAtUrlOptions() is available now.
  [[nodiscard]] virtual bool offersLaunchApplicationAtUrl() = 0;
  /// As a service of the user's session; `options` is kWorkspaceLaunchDefault.
  [[nodiscard]] virtual bool launchApplicationAtUrlOptions(const std::string& path, std::uint32_t options) = 0;
  /// As a detached process.
  [[nodiscard]] virtual bool launchApplication(const std::string& path) = 0;
  /// The application with this identifier.
  [[nodiscard]] virtual bool launchAppWithBundleIdentifierOptions(std::string_view bundleIdentifier,
                                                                  std::uint32_t options) = 0;
};

}  // namespace tarvel
