#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/agent_service.h"

namespace tarvel {

class ManagerConnection;

/// The agent as a unit of the user's service manager; without a manager, as an autostart entry of the desktop.
class LinuxAgentService final : public AgentService {
 public:
  /// `identifier` is the one that names the agent's lock. Folders are taken from the environment.
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
  /// Connected on first use. Null if no manager answers.
  [[nodiscard]] const ManagerConnection* manager();
  [[nodiscard]] ServiceAnswer enableUnit(const std::string& program, const std::string& unit);
  [[nodiscard]] ServiceAnswer enableAutostart(const std::string& program);
  /// Makes the manager find a unit that executes `program`: the installed one, else a new one in the user's folder.
  [[nodiscard]] ServiceAnswer provideUnit(const std::string& program, const std::string& unit);
  struct Launch {
    bool isExecuted = false;
    std::string complaint;
    std::function<bool()> hasEnded;
  };
  [[nodiscard]] Launch launch(const std::string& program);
  /// Waits until an agent runs, or until the launched process has ended.
  [[nodiscard]] bool waitForAgent(const std::function<bool()>& hasEnded);

  std::string lockPath_;
  std::unique_ptr<ManagerConnection> manager_;
};

}  // namespace tarvel
