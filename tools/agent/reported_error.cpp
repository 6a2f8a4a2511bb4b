#include "tools/agent/reported_error.h"

#include "agent/helper_errors.h"
#include "engine/tarvel.h"
#include "settings/preference_keys.h"
#include "tools/backups/initial_backup.h"

namespace tarvel {

std::optional<std::int32_t> pendingCode(const AgentContext& agent) {
  const auto code = agent.preferences.appIntegerValue(kLastHelperErrorKey, kMainApplicationIdentifier);
  if (!code || *code == 0) return std::nullopt;
  return static_cast<std::int32_t>(*code);
}

std::string messageOfCode(const AgentContext& agent, std::int32_t code) {
  if (code == kHelperErrorWatchingFailed) {
    return "The folder of the bookmarks file “" + bookmarksFileOf(agent) +
           "” could not be watched, so automatic sorting has stopped. Please verify that you have access to the "
           "folder.";
  }
  if (code == kHelperErrorUpdateFound) return "A newer version of Tarvel is available.";
  const bool namesBackup = code == TarvelErrorBackupFailed;
  const std::string file = namesBackup ? agentBackupFile(agent.files) : bookmarksFileOf(agent);
  return Tarvel::stringFromTarvelErrorAndFilename(agent.bundle, code, file);
}

}  // namespace tarvel
