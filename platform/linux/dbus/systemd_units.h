#pragma once

#include <string>

#include "platform/linux/dbus/manager_connection.h"

// Internal to platform/linux.
namespace tarvel {

/// What the service manager knows of one unit of a service.
struct UnitFacts {
  /// "enabled", "disabled", "masked" and so on; empty when there is no file of that name.
  std::string fileState;
  /// Where the unit was read from; empty when there is none.
  std::string file;
  /// The program that it executes; empty when there is none.
  std::string program;
  bool isActive = false;
  /// The process that is the service; 0 when there is none.
  int process = 0;
};

/// The units of the user's service manager: files of units are found, and linked into its targets, by the manager
/// itself.
class SystemdUnits {
 public:
  /// `connection` is borrowed.
  explicit SystemdUnits(const ManagerConnection& connection) : connection_(connection) {}

  [[nodiscard]] UnitFacts factsOf(const std::string& unit) const;
  /// Whether the manager looks for units in this folder.
  [[nodiscard]] bool looksInto(const std::string& folder) const;

  // Each answers whether it worked; complaint() has the manager's words when not.
  [[nodiscard]] bool enable(const std::string& unit);
  [[nodiscard]] bool disable(const std::string& unit);
  /// Reads the files of units anew.
  [[nodiscard]] bool reload();
  /// True once the program has been executed.
  [[nodiscard]] bool start(const std::string& unit);
  /// True once the service is over. Waits for that, for seconds.
  [[nodiscard]] bool stop(const std::string& unit);

  [[nodiscard]] const std::string& complaint() const { return complaint_; }

 private:
  [[nodiscard]] bool call(sd_bus_message* request);
  [[nodiscard]] bool runJob(const char* method, const std::string& unit);

  const ManagerConnection& connection_;
  std::string complaint_;
};

}  // namespace tarvel
