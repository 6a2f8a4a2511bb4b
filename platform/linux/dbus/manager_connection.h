#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/dbus/user_bus.h"

// Internal to platform/linux.
namespace tarvel {

/// A job that is over, and how it ended.
struct EndedJob {
  std::string path;
  std::string result;
};

/// A connection to the service manager of the user's session.
class ManagerConnection {
 public:
  /// Tests false when no manager answers within a second.
  ManagerConnection();

  explicit operator bool() const { return bus_ != nullptr; }
  [[nodiscard]] sd_bus* bus() const { return bus_.get(); }
  /// Null on a connection that has the manager at its other end.
  [[nodiscard]] const char* destination() const { return destination_; }

  /// A call of the manager's own. Null when out of memory.
  [[nodiscard]] BusMessagePointer newCall(const char* method) const;
  /// The variables, as "NAME=value", that the manager gives to what it starts. None when it does not tell.
  [[nodiscard]] std::optional<std::vector<std::string>> environment() const;
  void sendWithoutWaiting(BusMessagePointer message) const;

  /// How a request for a job ended.
  struct JobEnd {
    /// "done" and the other words of the manager's; empty when it was not accepted, or not over in time.
    std::string result;
    /// Why it was not accepted, in the manager's words.
    std::string refusal;

    [[nodiscard]] bool isDone() const { return result == "done"; }
  };
  /// Makes a call that asks for a job, and waits for the job's end.
  [[nodiscard]] JobEnd runJob(sd_bus_message* request, const Deadline& deadline) const;

 private:
  [[nodiscard]] bool answers(const Deadline& deadline) const;
  [[nodiscard]] std::string endOf(const std::string& job, const std::vector<EndedJob>& ended,
                                  const Deadline& deadline) const;

  BusPointer bus_;
  const char* destination_ = nullptr;
};

/// Where the manager's own calls are made.
inline constexpr const char* kManagerPath = "/org/freedesktop/systemd1";
inline constexpr const char* kManagerInterface = "org.freedesktop.systemd1.Manager";

}  // namespace tarvel
