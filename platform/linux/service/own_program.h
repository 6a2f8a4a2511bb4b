#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

// Internal to platform/linux.
namespace tarvel {

/// The program that this process executes, as a file that an upgrade may replace.
class OwnProgram {
 public:
  /// `link` leads to the executed file, also after its name was given to another; `groups` lists the control groups of
  /// this process. Both are of /proc, except in tests.
  explicit OwnProgram(std::string link = "/proc/self/exe", std::string groups = "/proc/self/cgroup");

  /// Whether another executable file has the program's name now, and has not changed for two seconds: an upgrade that
  /// is under way may not be complete. False while no file has the name, as after a removal.
  [[nodiscard]] bool isReplaced() const;

  /// Whether a service manager runs this process as the unit of that name.
  [[nodiscard]] bool isRunByUnit(const std::string& unit) const;

 private:
  std::string link_;
  std::string groups_;
  /// The program's name when the process began.
  std::string path_;
};

}  // namespace tarvel
