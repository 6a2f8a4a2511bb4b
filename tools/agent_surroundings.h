#pragma once

#include "platform/linux/linux_bundle.h"
#include "platform/linux/linux_file_manager.h"
#include "platform/linux/linux_preferences_store.h"
#include "platform/plist/serialization.h"
#include "tools/agent_commands.h"

namespace tarvel {

/// What the commands around the agent stand on, on Linux.
class LinuxAgentSurroundings {
 public:
  /// `systemLog`, which is borrowed, hears of settings that cannot be read.
  explicit LinuxAgentSurroundings(SystemLog& systemLog);

  /// Borrows from this object.
  [[nodiscard]] AgentSurroundings surroundings();
  /// The agent's program, seen from the command's; empty where there is no bundle of it.
  [[nodiscard]] static std::string agentProgram();

 private:
  PlistSerialization propertyLists_;
  LinuxFileManager files_;
  LinuxBundle bundle_;
  LinuxPreferencesStore preferences_;
};

}  // namespace tarvel
