#pragma once

#include <string>

#include "platform/system_probe.h"

namespace tarvel {

/// The machine as the kernel shows it.
class LinuxSystemProbe final : public SystemProbe {
 public:
  /// `identifier` is the one under which the agent keeps its lock.
  explicit LinuxSystemProbe(const std::string& identifier);

  [[nodiscard]] PathFacts path(const std::string& path) override;
  [[nodiscard]] FileSystemFacts fileSystem(const std::string& path) override;
  /// What is in use is counted over the user's own processes.
  [[nodiscard]] WatchFacts watches() override;
  [[nodiscard]] AgentProcessFacts agentProcess() override;
  [[nodiscard]] bool hasSessionBus() override;
  [[nodiscard]] bool isSuperUser() override;
  [[nodiscard]] std::string orderLanguage() override;

 private:
  std::string lockPath_;
};

}  // namespace tarvel
