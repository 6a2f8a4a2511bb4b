#pragma once

#include <map>
#include <memory>
#include <string>

#include "tests/support/real_user_manager.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {

/// A temporary home folder in which an agent can be enabled and started, with a stand-in for the agent's program. Ends
/// the agent that still runs.
class ServiceHome {
 public:
  static constexpr const char* kIdentifier = "org.tarvel.Test";

  ServiceHome();
  ~ServiceHome();
  ServiceHome(const ServiceHome&) = delete;
  ServiceHome& operator=(const ServiceHome&) = delete;

  /// Starts the stand-in for a service manager on this home's bus; false when it fails.
  [[nodiscard]] bool startFakeManager(const std::string& mode = {});
  /// Starts a real service manager, which reports its errors.
  [[nodiscard]] RealUserManager& startRealManager();

  /// An agent in a folder with this name.
  [[nodiscard]] std::string agent(const std::string& folder = "app") const;

  [[nodiscard]] std::string path(const std::string& name) const { return directory_.path(name); }
  [[nodiscard]] std::string read(const std::string& name) const { return directory_.read(name); }
  /// Also creates the parent folders.
  void write(const std::string& name, const std::string& text) const;
  [[nodiscard]] bool has(const std::string& name) const;

  static constexpr const char* kUnit = ".config/systemd/user/TarvelHelper.service";
  static constexpr const char* kLink = ".config/systemd/user/default.target.wants/TarvelHelper.service";
  static constexpr const char* kAutostart = ".config/autostart/org.tarvel.TarvelHelper.desktop";

 private:
  TemporaryDirectory directory_;
  std::map<std::string, std::string> previous_;
  std::unique_ptr<SessionBus> bus_;
  std::unique_ptr<RealUserManager> manager_;
};

}  // namespace tarvel
