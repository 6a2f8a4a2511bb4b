#pragma once

#include <memory>
#include <string>

#include "platform/agent_platform.h"
#include "platform/collation/icu_collator.h"
#include "platform/linux/base/linux_clock.h"
#include "platform/linux/base/linux_uuid_source.h"
#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/launch/linux_bundle.h"
#include "platform/linux/launch/linux_workspace.h"
#include "platform/linux/log/linux_system_log.h"
#include "platform/linux/loop/linux_run_loop.h"
#include "platform/linux/preferences/linux_preferences_store.h"
#include "platform/linux/service/linux_application.h"
#include "platform/linux/service/linux_running_applications.h"
#include "platform/linux/update/linux_updater.h"
#include "platform/linux/watch/linux_event_stream.h"
#include "platform/plist/serialization.h"

namespace tarvel {

/// Owns all services of an agent on Linux.
class LinuxAgentPlatform {
 public:
  /// `program` is the agent's name in the log, `identifier` the bundle identifier of its application. Null (logged) if
  /// no run loop can be created.
  [[nodiscard]] static std::unique_ptr<LinuxAgentPlatform> create(const std::string& program,
                                                                  const std::string& identifier);

  [[nodiscard]] const AgentPlatform& platform() const { return platform_; }

 private:
  LinuxAgentPlatform(std::unique_ptr<LinuxRunLoop> runLoop, const std::string& program, const std::string& identifier);

  std::unique_ptr<LinuxRunLoop> runLoop_;
  PlistSerialization propertyLists_;
  LinuxFileManager fileManager_;
  std::unique_ptr<IcuCollator> collator_;
  LinuxUuidSource uuidSource_;
  LinuxSystemLog systemLog_;
  LinuxBundle bundle_;
  LinuxBundles bundles_;
  LinuxWorkspace workspace_;
  LinuxClock clock_;
  LinuxApplication application_;
  LinuxEventStreamService eventStreams_;
  LinuxPreferencesStore preferences_;
  LinuxRunningApplications runningApplications_;
  LinuxUpdaters updaters_;
  AgentPlatform platform_;
};

}  // namespace tarvel
