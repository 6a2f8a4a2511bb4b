#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/agent_service.h"

namespace tarvel {

class ManagerConnection;

/// The agent as a unit of the user's service manager; where there is no manager, as a program that the desktop starts.
class LinuxAgentService final : public AgentService {
 public:
  /// `identifier` is the one under which the agent keeps its lock. Folders are taken from the environment.
  explicit LinuxAgentService(const std::string& identifier);
  ~LinuxAgentService() override;

  [[nodiscard]] bool hasManager() override;
  [[nodiscard]] LoginEntry loginEntry() override;
  [[nodiscard]] std::optional<int> runningAgent() override;
  [[nodiscard]] ServiceAnswer enable(const std::string& program) override;
  [[nodiscard]] ServiceAnswer disable() override;
  [[nodiscard]] ServiceAnswer start(const std::string& program) override;
  [[nodiscard]] ServiceAnswer stop() override;

 private:
  /// Made when it is first needed. Null when no manager answers.
  [[nodiscard]] const ManagerConnection* manager();
  [[nodiscard]] ServiceAnswer enableUnit(const std::string& program, const std::string& unit);
  [[nodiscard]] ServiceAnswer enableAutostart(const std::string& program);
  /// Has the manager find a unit that executes `program`: the installed one, else one of the user's own.
  [[nodiscard]] ServiceAnswer provideUnit(const std::string& program, const std::string& unit);
  struct Launch {
    bool isExecuted = false;
    std::string complaint;
    std::function<bool()> hasEnded;
  };
  [[nodiscard]] Launch launch(const std::string& program);
  /// Whether an agent comes to run, before what was launched ends.
  [[nodiscard]] bool waitForAgent(const std::function<bool()>& hasEnded);

  std::string lockPath_;
  std::unique_ptr<ManagerConnection> manager_;
};

}  // namespace tarvel
