#include "tools/agent/agent_context.h"

#include "platform/linux/launch/bundle_location.h"
#include "platform/linux/service/instance_lock.h"
#include "settings/preference_keys.h"
#include "tools/agent/settings_table.h"
#include "tools/files/paths.h"

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

bool isSortedByAgent(const AgentContext& agent, const std::string& file) {
  if (!agent.runningAgent()) return false;
  return isSameFile(file, stateOf(*settingNamed(kBookmarksFilenameKey), agent.preferences, agent.files).inForce);
}

}  // namespace tarvel
