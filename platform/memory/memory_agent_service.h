#pragma once

#include <set>
#include <string>
#include <vector>

#include "platform/agent_service.h"

namespace tarvel {

/// Simulates an agent that can be enabled and started, without a process.
class MemoryAgentService final : public AgentService {
 public:
  [[nodiscard]] bool hasManager() override { return hasManager_; }
  [[nodiscard]] LoginEntry loginEntry() override { return entry_; }
  [[nodiscard]] std::optional<int> runningAgent() override { return process_; }
  [[nodiscard]] ServiceAnswer enable(const std::string& program) override;
  [[nodiscard]] ServiceAnswer disable() override;
  [[nodiscard]] ServiceAnswer start(const std::string& program) override;
  [[nodiscard]] ServiceAnswer stop() override;

  /// Sets whether there is a service manager.
  void setHasManager(bool hasManager) { hasManager_ = hasManager; }
  /// Only programs added here can be enabled and started.
  void putProgram(const std::string& program) { programs_.insert(program); }
  /// None: the agent has ended.
  void setRunningAgent(std::optional<int> process) { process_ = process; }
  void setLoginEntry(const LoginEntry& entry) { entry_ = entry; }
  /// All requests fail with this text; empty: none fails.
  void setComplaint(const std::string& complaint) { complaint_ = complaint; }

  /// "enable PROGRAM", "disable", "start PROGRAM", "stop", in order.
  [[nodiscard]] const std::vector<std::string>& requests() const { return requests_; }

 private:
  /// The complaint about a program, or the general one; empty if there is none.
  [[nodiscard]] std::string complaintAbout(const std::string& program) const;

  bool hasManager_ = true;
  std::set<std::string> programs_;
  std::optional<int> process_;
  LoginEntry entry_;
  std::string complaint_;
  std::vector<std::string> requests_;
};

}  // namespace tarvel
