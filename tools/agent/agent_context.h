#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/launch/linux_bundle.h"
#include "platform/linux/preferences/linux_preferences_store.h"
#include "platform/plist/serialization.h"

namespace tarvel {

/// What the commands around the agent reach. All of it is borrowed.
struct AgentContext {
  PreferencesStore& preferences;
  FileManager& files;
  /// Of the messages, which come in the user's language.
  Bundle& bundle;
  /// Where the settings are kept, for messages.
  std::string settingsPath;
  /// The process that is the agent of this user; none when it does not run, 0 when it cannot be told which it is.
  std::function<std::optional<int>()> runningAgent;
};

/// What the commands around the agent stand on, on Linux.
class LinuxAgentContext {
 public:
  /// `systemLog`, which is borrowed, hears of settings that cannot be read.
  explicit LinuxAgentContext(SystemLog& systemLog);

  /// Borrows from this object.
  [[nodiscard]] AgentContext context();
  /// The agent's program, seen from the command's; empty where there is no bundle of it.
  [[nodiscard]] static std::string agentProgram();

 private:
  PlistSerialization propertyLists_;
  LinuxFileManager files_;
  LinuxBundle bundle_;
  LinuxPreferencesStore preferences_;
};

/// Whether an agent runs that sorts the file at `file`, by whatever links either path leads there.
[[nodiscard]] bool isSortedByAgent(const AgentContext& agent, const std::string& file);

}  // namespace tarvel
