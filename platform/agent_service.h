#pragma once

#include <optional>
#include <string>

namespace tarvel {

/// Who starts the agent whenever its user logs in.
enum class LoginStart { kNobody, kServiceManager, kDesktop };

/// What is arranged for the user's next login.
struct LoginEntry {
  LoginStart by = LoginStart::kNobody;
  /// The file that says so, for messages.
  std::string file;
  /// The program that will be started; empty where that cannot be told.
  std::string program;
};

/// How a request ended.
struct ServiceAnswer {
  /// What was asked for is so now.
  bool isDone = false;
  /// Something had to be done for it: it was not so before.
  bool isChanged = false;
  /// When it is not done: why, and what to do, in whole sentences.
  std::string complaint;
};

/// The agent as something that runs: now, and in each of the user's sessions. Each call waits until what it asked for
/// has happened, for seconds at most. One thread.
class AgentService {
 public:
  virtual ~AgentService() = default;

  /// Whether the user has a service manager that answers. Where there is none, the desktop starts the agent.
  [[nodiscard]] virtual bool hasManager() = 0;
  [[nodiscard]] virtual LoginEntry loginEntry() = 0;
  /// The process that is the agent; none when it does not run, 0 when it cannot be told which it is.
  [[nodiscard]] virtual std::optional<int> runningAgent() = 0;

  /// Has `program`, the agent's full path, started at each login; does not start it now. What somebody else has put
  /// in the way is left alone, and complained of.
  [[nodiscard]] virtual ServiceAnswer enable(const std::string& program) = 0;
  /// Takes back whatever enable() has made; does not end the agent.
  [[nodiscard]] virtual ServiceAnswer disable() = 0;
  /// Starts `program` now, unless an agent runs. Done means that it runs.
  [[nodiscard]] virtual ServiceAnswer start(const std::string& program) = 0;
  /// Ends the agent in order, whoever has started it. No process but the agent is ever touched.
  [[nodiscard]] virtual ServiceAnswer stop() = 0;
};

}  // namespace tarvel
