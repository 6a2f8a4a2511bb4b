#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/dbus/user_bus.h"

// Internal to platform/linux.
namespace tarvel {

/// A finished job and its result.
struct EndedJob {
  std::string path;
  std::string result;
};

/// A connection to the user's service manager.
class ManagerConnection {
 public:
  /// Tests false if no manager answers within a second.
  ManagerConnection();

  explicit operator bool() const { return bus_ != nullptr; }
  [[nodiscard]] sd_bus* bus() const { return bus_.get(); }
  /// Null on a private connection to the manager.
  [[nodiscard]] const char* destination() const { return destination_; }

  /// A method call of the manager interface. Null when out of memory.
  [[nodiscard]] BusMessagePointer newCall(const char* method) const;
  /// The manager's environment for its services, as "NAME=value". None on failure.
  [[nodiscard]] std::optional<std::vector<std::string>> environment() const;
  void sendWithoutWaiting(BusMessagePointer message) const;

  /// The result of a job request.
  struct JobEnd {
    /// The manager's result, such as "done"; empty if the job was refused or did not finish in time.
    std::string result;
    /// The manager's error message, if it refused the job.
    std::string refusal;

    [[nodiscard]] bool isDone() const { return result == "done"; }
  };
  /// Sends a request for a job and waits until the job finishes.
  [[nodiscard]] JobEnd runJob(sd_bus_message* request, const Deadline& deadline) const;

 private:
  [[nodiscard]] bool answers(const Deadline& deadline) const;
  [[nodiscard]] std::string endOf(const std::string& job, const std::vector<EndedJob>& ended,
                                  const Deadline& deadline) const;

  BusPointer bus_;
  const char* destination_ = nullptr;
};

/// Object path of the manager interface.
inline constexpr const char* kManagerPath = "/org/freedesktop/systemd1";
inline constexpr const char* kManagerInterface = "org.freedesktop.systemd1.Manager";

}  // namespace tarvel
