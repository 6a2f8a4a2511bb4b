// Whether what a command writes will be sorted by the agent.

#include "agent/preference_keys.h"
#include "tools/agent_commands.h"
#include "tools/same_file.h"
#include "tools/settings_table.h"

namespace tarvel {

bool isSortedByAgent(const AgentSurroundings& agent, const std::string& file) {
  if (!agent.runningAgent()) return false;
  return isSameFile(file, stateOf(*settingNamed(kBookmarksFilenameKey), agent.preferences, agent.files).inForce);
}

}  // namespace tarvel
