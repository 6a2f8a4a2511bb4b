// tarvel report, and the application that the agent launches: the pending error, in words.

#include <iostream>

#include "settings/preference_keys.h"
#include "tools/agent/agent_context.h"
#include "tools/agent/reported_error.h"
#include "tools/commands/agent_commands.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

/// Clears the pending error, and stores it as reported. Only once it was shown. False when that cannot be written.
bool clearPending(const AgentContext& agent, std::int32_t code) {
  const auto tree = std::make_shared<PropertyListTree>();
  agent.preferences.setAppValue(kReportedErrorKey, {tree, tree->makeInteger(code)}, kMainApplicationIdentifier);
  agent.preferences.setAppValue(kReportedErrorTimeKey, {tree, tree->makeDate(secondsSince2001())},
                                kMainApplicationIdentifier);
  agent.preferences.setAppValue(kLastHelperErrorKey, {}, kMainApplicationIdentifier);
  return agent.preferences.appSynchronize(kMainApplicationIdentifier);
}

void setPending(const AgentContext& agent, std::int32_t code) {
  const auto tree = std::make_shared<PropertyListTree>();
  agent.preferences.setAppValue(kLastHelperErrorKey, {tree, tree->makeInteger(code)}, kMainApplicationIdentifier);
  (void)agent.preferences.appSynchronize(kMainApplicationIdentifier);
}

Message notCleared(const AgentContext& agent) {
  return {{"The error could not be cleared in " + quotedPath(agent.settingsPath) + ", and will be shown again."}, {}};
}

}  // namespace

int runReport(const AgentContext& agent, const CommandLine& line) {
  Answer answer(line.name, line.output);
  const auto code = pendingCode(agent);
  answer["error"] = code ? Answer::Json(*code) : Answer::Json();
  if (!code) {
    answer.say("No pending error.");
    return answer.end(0);
  }
  answer.say(printable(messageOfCode(agent, *code)));
  std::cout.flush();
  // An error that could not be shown stays pending.
  if (!std::cout) return answer.end(kExitFailed);
  const bool isCleared = clearPending(agent, *code);
  const int status = isCleared ? answer.end(0) : answer.fail(kExitFailed, notCleared(agent));
  // As JSON it is shown only now.
  if (answer.isJson() && !std::cout.flush()) setPending(agent, *code);
  return status;
}

int runReportAsApplication(const AgentContext& agent, Notifier& notifier, SystemLog& systemLog) {
  const auto code = pendingCode(agent);
  if (!code) return 0;
  const std::string message = messageOfCode(agent, *code);
  if (!notifier.notify("Tarvel", message)) systemLog.log(message);
  if (clearPending(agent, *code)) return 0;
  std::cerr << "tarvel: " << notCleared(agent).sentences.front() << "\n";
  return kExitFailed;
}

}  // namespace tarvel
