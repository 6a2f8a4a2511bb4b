// tarvel report, and the application that the agent launches: what went wrong, in words.

#include <iostream>

#include "agent/preference_keys.h"
#include "engine/tarvel.h"
#include "tools/agent_commands.h"
#include "tools/initial_backup.h"
#include "tools/local_time.h"
#include "tools/settings_table.h"

namespace tarvel {

namespace {

std::string bookmarksFile(const AgentSurroundings& agent) {
  return stateOf(*settingNamed(kBookmarksFilenameKey), agent.preferences, agent.files).inForce;
}

/// Nothing waits any more; what it was, and when, is kept for those who ask later. Only once it was told.
int remember(const AgentSurroundings& agent, std::int32_t code) {
  const auto tree = std::make_shared<PropertyListTree>();
  agent.preferences.setAppValue(kReportedErrorKey, {tree, tree->makeInteger(code)}, kMainApplicationIdentifier);
  agent.preferences.setAppValue(kReportedErrorTimeKey, {tree, tree->makeDate(secondsSince2001())},
                                kMainApplicationIdentifier);
  agent.preferences.setAppValue(kLastHelperErrorKey, {}, kMainApplicationIdentifier);
  if (agent.preferences.appSynchronize(kMainApplicationIdentifier)) return 0;
  std::cerr << "tarvel: The error could not be removed from “" << printable(agent.settingsPath)
            << "” and will be shown again.\n";
  return kExitFailed;
}

}  // namespace

std::optional<std::int32_t> pendingCode(const AgentSurroundings& agent) {
  const auto code = agent.preferences.appIntegerValue(kLastHelperErrorKey, kMainApplicationIdentifier);
  if (!code || *code == 0) return std::nullopt;
  return static_cast<std::int32_t>(*code);
}

std::string messageOfCode(const AgentSurroundings& agent, std::int32_t code) {
  if (code == kHelperErrorWatchingFailed) {
    return "The folder of the bookmarks file “" + bookmarksFile(agent) +
           "” could not be watched, so automatic sorting has stopped. Please verify that you have access to the "
           "folder.";
  }
  if (code == kHelperErrorUpdateFound) return "A newer version of Tarvel is available.";
  const bool namesBackup = code == TarvelErrorBackupFailed;
  const std::string file = namesBackup ? agentBackupFile(agent.files) : bookmarksFile(agent);
  return Tarvel::stringFromTarvelErrorAndFilename(agent.bundle, code, file);
}

int runReport(const AgentSurroundings& agent, const CommandLine& /*line*/) {
  const auto code = pendingCode(agent);
  if (!code) {
    std::cout << "Nothing to report.\n";
    return 0;
  }
  std::cout << printable(messageOfCode(agent, *code)) << "\n";
  std::cout.flush();
  // An answer that nobody got stays to be given.
  return std::cout ? remember(agent, *code) : kExitFailed;
}

int runReportAsApplication(const AgentSurroundings& agent, Notifier& notifier, SystemLog& systemLog) {
  const auto code = pendingCode(agent);
  if (!code) return 0;
  const std::string message = messageOfCode(agent, *code);
  if (!notifier.notify("Tarvel", message)) systemLog.log(message);
  return remember(agent, *code);
}

}  // namespace tarvel
