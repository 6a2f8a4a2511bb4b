#pragma once

#include <map>
#include <memory>

#include "platform/linux/loop/linux_run_loop.h"
#include "platform/property_list_serialization.h"
#include "platform/workspace.h"

namespace tarvel {

class UserManager;

/// Launches programs that outlive this one: as a unit of the user's service manager, as a process in its own session,
/// or by D-Bus activation. Blocks for a few seconds at most.
class LinuxWorkspace final : public Workspace {
 public:
  /// Both are borrowed. `runLoop` reaps programs launched by path; may be null if nothing is launched.
  LinuxWorkspace(PropertyListSerialization& propertyLists, LinuxRunLoop* runLoop);
  ~LinuxWorkspace() override;

  /// No effect: file managers on Linux watch folders themselves.
  void noteFileSystemChanged(const std::string& /*path*/) override {}

  /// Whether a service manager answers. The next launch uses the same connection.
  [[nodiscard]] bool offersLaunchApplicationAtUrl() override;
  [[nodiscard]] bool launchApplicationAtUrlOptions(const std::string& path, std::uint32_t options) override;
  [[nodiscard]] bool launchApplication(const std::string& path) override;
  /// By D-Bus activation, else by the desktop file of that name.
  [[nodiscard]] bool launchAppWithBundleIdentifierOptions(std::string_view bundleIdentifier,
                                                          std::uint32_t options) override;

 private:
  PropertyListSerialization& propertyLists_;
  LinuxRunLoop* runLoop_;
  /// Kept from offersLaunchApplicationAtUrl() to the launch only: managers come and go.
  std::unique_ptr<UserManager> manager_;
  /// Processes to reap.
  std::map<int, std::unique_ptr<LoopSource>> children_;
};

}  // namespace tarvel
