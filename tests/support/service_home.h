#pragma once

#include <map>
#include <memory>
#include <string>

#include "tests/support/real_user_manager.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {

/// A home in a temporary folder in which an agent can be enabled and started, with a stand-in for the agent's program.
/// Whatever agent runs at the end is ended.
class ServiceHome {
 public:
  static constexpr const char* kIdentifier = "org.tarvel.Test";

  ServiceHome();
  ~ServiceHome();
  ServiceHome(const ServiceHome&) = delete;
  ServiceHome& operator=(const ServiceHome&) = delete;

  /// The stand-in for a service manager on a bus of this home's; false when it does not come.
  [[nodiscard]] bool startFakeManager(const std::string& mode = {});
  /// A real service manager; what is wrong with it can be seen there.
  [[nodiscard]] RealUserManager& startRealManager();

  /// An agent in a folder of this name.
  [[nodiscard]] std::string agent(const std::string& folder = "app") const;

  [[nodiscard]] std::string path(const std::string& name) const { return directory_.path(name); }
  [[nodiscard]] std::string read(const std::string& name) const { return directory_.read(name); }
  /// Makes the folders above, too.
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
