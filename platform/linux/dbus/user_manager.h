#pragma once

#include <string>
#include <vector>

#include "platform/linux/base/program_command.h"
#include "platform/linux/dbus/manager_connection.h"

// Internal to platform/linux.
namespace tarvel {

/// The user's service manager. Programs that it starts are not children of this process and survive the end of its
/// unit.
class UserManager {
 public:
  /// Tests false if no manager answers within a second.
  explicit operator bool() const { return static_cast<bool>(connection_); }

  /// Executes a program as a transient unit among the user's applications. True once it has been executed. False if
  /// that failed, took more than three seconds (the unit is then stopped), or if an argument is not UTF-8, which D-Bus
  /// cannot carry.
  [[nodiscard]] bool start(const ProgramCommand& command);

 private:
  [[nodiscard]] BusMessagePointer startRequest(const std::string& unit, const ProgramCommand& command);
  /// Cancels a pending request.
  void giveUp(const std::string& unit);

  ManagerConnection connection_;
};

}  // namespace tarvel
