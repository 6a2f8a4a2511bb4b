#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

// Internal to platform/linux.
namespace tarvel {

/// The executable of this process, which an upgrade may replace.
class OwnProgram {
 public:
  /// `link` leads to the executed file, even after a rename; `groups` lists this process's cgroups. Both are in /proc,
  /// except in tests.
  explicit OwnProgram(std::string link = "/proc/self/exe", std::string groups = "/proc/self/cgroup");

  /// Whether another executable file has the program's path and its ctime is at least two seconds old: an upgrade in
  /// progress may be incomplete. False if the path does not exist, as after a removal.
  [[nodiscard]] bool isReplaced() const;

  /// Whether a service manager runs this process as that unit.
  [[nodiscard]] bool isRunByUnit(const std::string& unit) const;

 private:
  std::string link_;
  std::string groups_;
  /// The program's path at start.
  std::string path_;
};

}  // namespace tarvel
