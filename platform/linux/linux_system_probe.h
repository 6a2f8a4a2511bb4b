#pragma once

#include <string>

#include "platform/system_probe.h"

namespace tarvel {

/// Inspects the machine through /proc and system calls.
class LinuxSystemProbe final : public SystemProbe {
 public:
  /// `identifier` is the one that names the agent's lock.
  explicit LinuxSystemProbe(const std::string& identifier);

  [[nodiscard]] PathFacts path(const std::string& path) override;
  [[nodiscard]] FileSystemFacts fileSystem(const std::string& path) override;
  /// Counts the use by the user's own processes.
  [[nodiscard]] WatchFacts watches() override;
  [[nodiscard]] AgentProcessFacts agentProcess() override;
  [[nodiscard]] bool hasSessionBus() override;
  [[nodiscard]] bool isSuperUser() override;
  [[nodiscard]] std::string orderLanguage() override;

 private:
  std::string lockPath_;
};

}  // namespace tarvel
