#include "tools/agent_surroundings.h"

#include "agent/preference_keys.h"
#include "platform/linux/bundle_location.h"
#include "platform/linux/instance_lock.h"

namespace tarvel {

LinuxAgentSurroundings::LinuxAgentSurroundings(SystemLog& systemLog)
    : bundle_(LinuxBundle::forCommand(propertyLists_)), preferences_(propertyLists_, systemLog) {}

AgentSurroundings LinuxAgentSurroundings::surroundings() {
  return {preferences_, files_, bundle_, preferences_.pathOf(kMainApplicationIdentifier),
          [] { return holderOfInstanceLock(instanceLockPath(kMainApplicationIdentifier)); }};
}

std::string LinuxAgentSurroundings::agentProgram() {
  const std::string bundle = helperBundlePathForCommand();
  return bundle.empty() ? std::string() : bundle + "/Contents/Linux/TarvelHelper";
}

}  // namespace tarvel
