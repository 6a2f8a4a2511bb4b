#pragma once

#include <map>
#include <memory>

#include "platform/linux/loop/linux_run_loop.h"
#include "platform/property_list_serialization.h"
#include "platform/workspace.h"

namespace tarvel {

class UserManager;

/// Launches programs so that they outlive this one: as a unit of the user's service manager, as a process in a session
/// of its own, or through the session bus. Nothing takes longer than a few seconds, whoever fails to answer.
class LinuxWorkspace final : public Workspace {
 public:
  /// Both are borrowed. `runLoop` waits for what is launched by path; null where nothing is ever launched.
  LinuxWorkspace(PropertyListSerialization& propertyLists, LinuxRunLoop* runLoop);
  ~LinuxWorkspace() override;

  /// File managers here watch folders themselves: an announcement has nobody to go to.
  void noteFileSystemChanged(const std::string& /*path*/) override {}

  /// Whether a service manager answers. The launch that follows uses the same connection.
  [[nodiscard]] bool offersLaunchApplicationAtUrl() override;
  [[nodiscard]] bool launchApplicationAtUrlOptions(const std::string& path, std::uint32_t options) override;
  [[nodiscard]] bool launchApplication(const std::string& path) override;
  /// By the session bus, else by the desktop file of that name.
  [[nodiscard]] bool launchAppWithBundleIdentifierOptions(std::string_view bundleIdentifier,
                                                          std::uint32_t options) override;

 private:
  PropertyListSerialization& propertyLists_;
  LinuxRunLoop* runLoop_;
  /// From the question whether it answers to the launch, and no longer: managers come and go.
  std::unique_ptr<UserManager> manager_;
  /// Processes to be waited for.
  std::map<int, std::unique_ptr<LoopSource>> children_;
};

}  // namespace tarvel
