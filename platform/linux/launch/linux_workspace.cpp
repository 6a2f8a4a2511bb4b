#include "platform/linux/launch/linux_workspace.h"

#include <utility>

#include "platform/linux/dbus/bus_activation.h"
#include "platform/linux/dbus/user_manager.h"
#include "platform/linux/launch/application_locator.h"
#include "platform/linux/launch/process_spawning.h"

namespace tarvel {

LinuxWorkspace::LinuxWorkspace(PropertyListSerialization& propertyLists, LinuxRunLoop* runLoop)
    : propertyLists_(propertyLists), runLoop_(runLoop) {}

LinuxWorkspace::~LinuxWorkspace() = default;

bool LinuxWorkspace::offersLaunchApplicationAtUrl() {
  manager_ = std::make_unique<UserManager>();
  return static_cast<bool>(*manager_);
}

bool LinuxWorkspace::launchApplicationAtUrlOptions(const std::string& path, std::uint32_t /*options*/) {
  std::unique_ptr<UserManager> manager = std::move(manager_);
  const auto command = commandForApplication(propertyLists_, path);
  if (!command) return false;
  if (!manager) manager = std::make_unique<UserManager>();
  return *manager && manager->start(*command);
}

bool LinuxWorkspace::launchApplication(const std::string& path) {
  const auto command = commandForApplication(propertyLists_, path);
  if (!command) return false;
  const std::optional<pid_t> process = spawnDetached(*command);
  if (!process) return false;
  // Without a run loop the orphan is reaped by init.
  if (runLoop_ != nullptr) {
    const int number = *process;
    auto source = runLoop_->watchChild(number, [this, number](int) { children_.erase(number); });
    if (source) children_[number] = std::move(source);
  }
  return true;
}

bool LinuxWorkspace::launchAppWithBundleIdentifierOptions(std::string_view bundleIdentifier,
                                                          std::uint32_t /*options*/) {
  if (bundleIdentifier.empty()) return false;
  if (activateOnBus(bundleIdentifier)) return true;
  const std::string file = desktopFileWithIdentifier(bundleIdentifier);
  return !file.empty() && launchApplication(file);
}

}  // namespace tarvel
