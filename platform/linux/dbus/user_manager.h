#pragma once

#include <string>
#include <vector>

#include "platform/linux/base/program_command.h"
#include "platform/linux/dbus/manager_connection.h"

// Internal to platform/linux.
namespace tarvel {

/// The service manager of the user's session. What it starts is no child of this process, and lives on when the unit of
/// this process is stopped.
class UserManager {
 public:
  /// Tests false when no manager answers within a second.
  explicit operator bool() const { return static_cast<bool>(connection_); }

  /// Executes a program as a unit of its own, among the user's applications. True once it has been executed. False when
  /// it could not be, was not within three seconds and is given up, or has words that are no UTF-8, which a bus does
  /// not carry.
  [[nodiscard]] bool start(const ProgramCommand& command);

 private:
  [[nodiscard]] BusMessagePointer startRequest(const std::string& unit, const ProgramCommand& command);
  /// Stops what may yet come of a request.
  void giveUp(const std::string& unit);

  ManagerConnection connection_;
};

}  // namespace tarvel
