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
  /// Tests false when no manager answers within a second.
  UserManager();

  explicit operator bool() const { return bus_ != nullptr; }

  /// Executes a program as a unit of its own, among the user's applications. True once it has been executed. False when
  /// it could not be, was not within three seconds and is given up, or has words that are no UTF-8, which a bus does
  /// not carry.
  [[nodiscard]] bool start(const ProgramCommand& command);

 private:
  [[nodiscard]] bool answers(const Deadline& deadline);
  /// Null when out of memory.
  [[nodiscard]] BusMessagePointer newCall(const char* method);
  [[nodiscard]] BusMessagePointer startRequest(const std::string& unit, const ProgramCommand& command);
  /// Stops what may yet come of a request.
  void giveUp(const std::string& unit);
  void sendWithoutWaiting(BusMessagePointer message);
  [[nodiscard]] bool endsWell(const std::string& job, const std::vector<EndedJob>& ended, const Deadline& deadline);

  BusPointer bus_;
  /// Null on a connection that has the manager at its other end.
  const char* destination_ = nullptr;
};

}  // namespace tarvel
