#pragma once

#include <optional>
#include <string>

namespace tarvel {

/// What starts the agent at login.
enum class LoginStart { kNone, kServiceManager, kDesktop };

/// How the agent is set up to start at the user's next login.
struct LoginEntry {
  LoginStart by = LoginStart::kNone;
  /// The unit or desktop file, for messages.
  std::string file;
  /// The program that will be started; empty when unknown.
  std::string program;
};

/// The result of a request.
struct ServiceAnswer {
  /// Whether the requested state holds now.
  bool isDone = false;
  /// Whether the request changed anything.
  bool isChanged = false;
  /// On failure: the cause and the remedy, in sentences.
  std::string complaint;
};

/// Controls the agent process and its start at login. Each call blocks until its effect has happened, for seconds at
/// most. Single-threaded.
class AgentService {
 public:
  virtual ~AgentService() = default;

  /// Whether the user's service manager answers. Without one, the desktop starts the agent.
  [[nodiscard]] virtual bool hasManager() = 0;
  [[nodiscard]] virtual LoginEntry loginEntry() = 0;
  /// The agent's process; none when it is not running, 0 when it runs but its process is unknown.
  [[nodiscard]] virtual std::optional<int> runningAgent() = 0;

  /// Sets `program`, the agent's absolute path, to start at each login; does not start it now. Fails without touching
  /// unit or desktop files that this program did not write.
  [[nodiscard]] virtual ServiceAnswer enable(const std::string& program) = 0;
  /// Undoes enable(); does not stop the agent.
  [[nodiscard]] virtual ServiceAnswer disable() = 0;
  /// Starts `program` unless an agent is running. Succeeds when the agent runs.
  [[nodiscard]] virtual ServiceAnswer start(const std::string& program) = 0;
  /// Stops the agent with SIGTERM, however it was started. Touches no other process.
  [[nodiscard]] virtual ServiceAnswer stop() = 0;
};

}  // namespace tarvel
