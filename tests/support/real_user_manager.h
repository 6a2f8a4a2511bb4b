#pragma once

#include <sys/types.h>

#include <string>

#include "platform/linux/base/unique_fd.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {

/// A real service manager of a user, apart from the machine's own, which needs rights that not every user has. It knows
/// this process's HOME and TARVEL_RECORD. What it started ends with it.
class RealUserManager {
 public:
  RealUserManager();
  ~RealUserManager();
  RealUserManager(const RealUserManager&) = delete;
  RealUserManager& operator=(const RealUserManager&) = delete;

  [[nodiscard]] bool isUp() const { return isUp_; }
  /// Whether it is not up because this machine or this user does not allow it, rather than because something is wrong.
  [[nodiscard]] bool isImpossible() const { return isImpossible_; }
  /// What was said about it.
  [[nodiscard]] std::string log() const { return directory_.read("log"); }
  /// For XDG_RUNTIME_DIR.
  [[nodiscard]] std::string runtimeFolder() const { return directory_.path("runtime"); }

 private:
  void start();
  [[nodiscard]] bool hasEnded();

  TemporaryDirectory directory_;
  pid_t process_ = 0;
  /// Closing it ends the manager, as the end of this process does.
  UniqueFd lifeline_;
  bool isUp_ = false;
  bool isImpossible_ = false;
};

}  // namespace tarvel
