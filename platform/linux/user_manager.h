#pragma once

#include <string>
#include <vector>

#include "platform/linux/application_locator.h"
#include "platform/linux/user_bus.h"

// Internal to platform/linux.
namespace tarvel {

/// A job that is over, and how it ended.
struct EndedJob {
  std::string path;
  std::string result;
};

/// The service manager of the user's session. What it starts is no child of this process, and lives on when the unit of
/// this process is stopped.
class UserManager {
 public:
  /// Tests false when no manager answers.
  UserManager();

  explicit operator bool() const { return bus_ != nullptr; }

  /// Executes a program as a unit of its own, among the user's applications. True once it has been executed.
  [[nodiscard]] bool start(const ProgramCommand& command);

 private:
  [[nodiscard]] bool answers();
  [[nodiscard]] BusMessagePointer requestFor(const ProgramCommand& command);
  [[nodiscard]] bool endsWell(const std::string& job, const std::vector<EndedJob>& ended);

  BusPointer bus_;
  /// Null on a connection that has the manager at its other end.
  const char* destination_ = nullptr;
};

}  // namespace tarvel
