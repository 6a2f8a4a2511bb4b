// tarvel report, and the application that the agent launches: what went wrong, in words.

#include <iostream>

#include "settings/preference_keys.h"
#include "tools/agent/agent_context.h"
#include "tools/agent/reported_error.h"
#include "tools/commands/agent_commands.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

/// Nothing waits any more; what it was, and when, is kept for those who ask later. Only once it was told.
int remember(const AgentContext& agent, std::int32_t code) {
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

int runReport(const AgentContext& agent, const CommandLine& /*line*/) {
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

int runReportAsApplication(const AgentContext& agent, Notifier& notifier, SystemLog& systemLog) {
  const auto code = pendingCode(agent);
  if (!code) return 0;
  const std::string message = messageOfCode(agent, *code);
  if (!notifier.notify("Tarvel", message)) systemLog.log(message);
  return remember(agent, *code);
}

}  // namespace tarvel
