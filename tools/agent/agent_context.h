#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/launch/linux_bundle.h"
#include "platform/linux/preferences/linux_preferences_store.h"
#include "platform/plist/serialization.h"
#include "tools/terminal/message.h"

namespace tarvel {

/// What the commands about the agent work on. All of it is borrowed.
struct AgentContext {
  PreferencesStore& preferences;
  FileManager& files;
  /// For messages in the user's language.
  Bundle& bundle;
  /// Where the settings are kept, for messages.
  std::string settingsPath;
  /// This user's agent: its process; none when it is not running, 0 when its process is unknown.
  std::function<std::optional<int>()> runningAgent;
};

/// The same on Linux.
class LinuxAgentContext {
 public:
  /// `systemLog` is borrowed; settings that cannot be read are logged there.
  explicit LinuxAgentContext(SystemLog& systemLog);

  /// Borrows from this object.
  [[nodiscard]] AgentContext context();
  /// The program of the agent that was installed with this command; empty where there is no bundle of it.
  [[nodiscard]] static std::string agentProgram();

 private:
  PlistSerialization propertyLists_;
  LinuxFileManager files_;
  LinuxBundle bundle_;
  LinuxPreferencesStore preferences_;
};

/// The value of a setting in force, as `tarvel settings get` shows it.
[[nodiscard]] std::string settingInForce(const AgentContext& agent, const char* key);
/// The same of a setting that is yes or no.
[[nodiscard]] bool isSettingOn(const AgentContext& agent, const char* key);
/// The file that the agent sorts.
[[nodiscard]] std::string bookmarksFileOf(const AgentContext& agent);

/// Why a setting is not stored.
[[nodiscard]] Message settingsNotWritten(const AgentContext& agent);

/// Whether an agent is running that sorts this file. Links are followed.
[[nodiscard]] bool isSortedByAgent(const AgentContext& agent, const std::string& file);

}  // namespace tarvel
