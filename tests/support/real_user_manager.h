#pragma once

#include <sys/types.h>

#include <string>

#include "platform/linux/base/unique_fd.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {

/// A real systemd user manager, separate from the machine's own. It needs privileges. It inherits this process's HOME
/// and TARVEL_RECORD. The processes that it started end with it.
class RealUserManager {
 public:
  RealUserManager();
  ~RealUserManager();
  RealUserManager(const RealUserManager&) = delete;
  RealUserManager& operator=(const RealUserManager&) = delete;

  [[nodiscard]] bool isUp() const { return isUp_; }
  /// Whether it is not running because this machine or user does not permit it, rather than because of an error.
  [[nodiscard]] bool isImpossible() const { return isImpossible_; }
  /// Its messages.
  [[nodiscard]] std::string log() const { return directory_.read("log"); }
  /// For XDG_RUNTIME_DIR.
  [[nodiscard]] std::string runtimeFolder() const { return directory_.path("runtime"); }

 private:
  void start();
  [[nodiscard]] bool hasEnded();

  TemporaryDirectory directory_;
  pid_t process_ = 0;
  /// Closing it ends the manager; so does the end of this process.
  UniqueFd lifeline_;
  bool isUp_ = false;
  bool isImpossible_ = false;
};

}  // namespace tarvel
