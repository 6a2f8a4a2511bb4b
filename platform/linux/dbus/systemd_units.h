#pragma once

#include <string>

#include "platform/linux/dbus/manager_connection.h"

// Internal to platform/linux.
namespace tarvel {

/// The service manager's state of a service unit.
struct UnitFacts {
  /// "enabled", "disabled", "masked" and so on; empty without a unit file.
  std::string fileState;
  /// The unit file; empty if there is none.
  std::string file;
  /// The program that it executes; empty if unknown.
  std::string program;
  bool isActive = false;
  /// The service's main process; 0 if it is not running.
  int process = 0;
};

/// The units of the user's service manager, which finds unit files and enables units itself.
class SystemdUnits {
 public:
  /// `connection` is borrowed.
  explicit SystemdUnits(const ManagerConnection& connection) : connection_(connection) {}

  [[nodiscard]] UnitFacts factsOf(const std::string& unit) const;
  /// Whether the manager's unit search path contains this folder.
  [[nodiscard]] bool looksInto(const std::string& folder) const;

  // Each returns whether it succeeded; on failure complaint() has the manager's message.
  [[nodiscard]] bool enable(const std::string& unit);
  [[nodiscard]] bool disable(const std::string& unit);
  /// Reloads the unit files (daemon-reload).
  [[nodiscard]] bool reload();
  /// True once the program has been executed.
  [[nodiscard]] bool start(const std::string& unit);
  /// True once the service has stopped. Blocks for seconds.
  [[nodiscard]] bool stop(const std::string& unit);

  [[nodiscard]] const std::string& complaint() const { return complaint_; }

 private:
  [[nodiscard]] bool call(sd_bus_message* request);
  [[nodiscard]] bool runJob(const char* method, const std::string& unit);

  const ManagerConnection& connection_;
  std::string complaint_;
};

}  // namespace tarvel
