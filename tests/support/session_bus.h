#pragma once

#include <sys/types.h>

#include <string>

#include "tests/support/temporary_directory.h"

namespace tarvel {

/// A real, separate session bus, which this process and its children use during its lifetime.
class SessionBus {
 public:
  SessionBus();
  ~SessionBus();
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

  /// Whether it was started and listens.
  [[nodiscard]] bool isUp() const { return isUp_; }
  /// Makes the bus start `command` when `name` is requested. Call it before start().
  void addService(const std::string& name, const std::string& command);
  /// Starts a service now; false when it fails.
  [[nodiscard]] bool activate(const std::string& name) const;
  /// A frozen bus accepts connections and never replies.
  void freeze() const;
  void thaw() const;
  /// Starts the bus and sets its address in the environment.
  void start();

 private:
  TemporaryDirectory directory_;
  pid_t process_ = 0;
  bool isUp_ = false;
};

}  // namespace tarvel
