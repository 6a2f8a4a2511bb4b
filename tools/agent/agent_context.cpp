#include "tools/agent/agent_context.h"

#include "platform/linux/launch/bundle_location.h"
#include "platform/linux/service/instance_lock.h"
#include "settings/preference_keys.h"
#include "tools/agent/settings_table.h"
#include "tools/files/paths.h"
#include "tools/terminal/text.h"

namespace tarvel {

LinuxAgentContext::LinuxAgentContext(SystemLog& systemLog)
    : bundle_(LinuxBundle::forCommand(propertyLists_)), preferences_(propertyLists_, systemLog) {}

AgentContext LinuxAgentContext::context() {
  return {preferences_, files_, bundle_, preferences_.pathOf(kMainApplicationIdentifier),
          [] { return holderOfInstanceLock(instanceLockPath(kMainApplicationIdentifier)); }};
}

std::string LinuxAgentContext::agentProgram() {
  const std::string bundle = helperBundlePathForCommand();
  return bundle.empty() ? std::string() : bundle + "/Contents/Linux/TarvelHelper";
}

std::string settingInForce(const AgentContext& agent, const char* key) {
  return stateOf(*settingNamed(key), agent.preferences, agent.files).inForce;
}

bool isSettingOn(const AgentContext& agent, const char* key) { return settingInForce(agent, key) == "yes"; }

std::string bookmarksFileOf(const AgentContext& agent) { return settingInForce(agent, kBookmarksFilenameKey); }

Message settingsNotWritten(const AgentContext& agent) {
  return {{"The settings could not be written to " + quotedPath(agent.settingsPath) + ".",
           "Check that you can write to its folder, and that the disk is not full."},
          {}};
}

bool isSortedByAgent(const AgentContext& agent, const std::string& file) {
  return agent.runningAgent() && isSameFile(file, bookmarksFileOf(agent));
}

}  // namespace tarvel
