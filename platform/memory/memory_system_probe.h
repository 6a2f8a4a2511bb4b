#pragma once

#include <map>
#include <string>

#include "platform/system_probe.h"

namespace tarvel {

/// A machine described by a test; by default one without problems.
class MemorySystemProbe final : public SystemProbe {
 public:
  [[nodiscard]] PathFacts path(const std::string& path) override {
    const auto found = paths.find(path);
    return found == paths.end() ? PathFacts() : found->second;
  }
  [[nodiscard]] FileSystemFacts fileSystem(const std::string& /*path*/) override { return system; }
  [[nodiscard]] WatchFacts watches() override { return watchFacts; }
  [[nodiscard]] AgentProcessFacts agentProcess() override { return process; }
  [[nodiscard]] bool hasSessionBus() override { return sessionBus; }
  [[nodiscard]] bool isSuperUser() override { return superUser; }
  [[nodiscard]] std::string orderLanguage() override { return language; }

  /// A file or folder of the user's own with read and write permission.
  PathFacts& put(const std::string& path, PathKind kind) {
    const bool isFolder = kind == PathKind::kFolder;
    return paths[path] = {kind, false, path, true, true, isFolder, 0, Date(), isFolder ? 0700U : 0600U, true, {}};
  }

  std::map<std::string, PathFacts> paths;
  FileSystemFacts system{"ext4", false, false, true, std::uint64_t{1} << 40};
  WatchFacts watchFacts{65536, 20, 128, 3};
  AgentProcessFacts process;
  bool sessionBus = true;
  bool superUser = false;
  std::string language = "en_GB.UTF-8";
};

}  // namespace tarvel
