// Whether what a command writes will be sorted by the agent.

#include <filesystem>
#include <system_error>

#include "agent/preference_keys.h"
#include "tools/agent_commands.h"
#include "tools/settings_table.h"

namespace tarvel {

namespace {

namespace fs = std::filesystem;

/// Also of files that are not there, as long as their folders are.
bool leadToOneFile(const fs::path& first, const fs::path& second) {
  std::error_code error;
  if (first == second || fs::equivalent(first, second, error)) return true;
  return first.filename() == second.filename() && fs::equivalent(first.parent_path(), second.parent_path(), error);
}

}  // namespace

bool isSortedByAgent(const AgentSurroundings& agent, const std::string& file) {
  if (!agent.runningAgent()) return false;
  return leadToOneFile(file, stateOf(*settingNamed(kBookmarksFilenameKey), agent.preferences, agent.files).inForce);
}

}  // namespace tarvel
