#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarvel {

/// Launching as the desktop does it by default, without waiting. The original platform's number.
inline constexpr std::uint32_t kWorkspaceLaunchDefault = 0x30000;

/// The desktop around the program.
class Workspace {
 public:
  virtual ~Workspace() = default;

  /// Announces that a folder's contents changed, to whoever shows them.
  virtual void noteFileSystemChanged(const std::string& path) = 0;

  // Launching. True: the program is running, or about to, whatever becomes of this process. None of these waits for it
  // to finish starting. A path names an executable, a desktop file, or a bundle, whose executable is meant.

  /// Whether launchApplicationAtUrlOptions() is to be had at the moment.
  [[nodiscard]] virtual bool offersLaunchApplicationAtUrl() = 0;
  /// As a service of the user's session; `options` as kWorkspaceLaunchDefault has them.
  [[nodiscard]] virtual bool launchApplicationAtUrlOptions(const std::string& path, std::uint32_t options) = 0;
  /// As a process of its own.
  [[nodiscard]] virtual bool launchApplication(const std::string& path) = 0;
  /// Whatever program carries the identifier.
  [[nodiscard]] virtual bool launchAppWithBundleIdentifierOptions(std::string_view bundleIdentifier,
                                                                  std::uint32_t options) = 0;
};

}  // namespace tarvel
