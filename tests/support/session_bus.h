#pragma once

#include <sys/types.h>

#include <string>

#include "tests/support/temporary_directory.h"

namespace tarvel {

/// A real session bus of the test's own, which this process and its children use while this lives.
class SessionBus {
 public:
  SessionBus();
  ~SessionBus();
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

  /// Whether it could be started and listens.
  [[nodiscard]] bool isUp() const { return isUp_; }
  /// From now on the bus starts `command` for whoever asks for `name`. To be said before the bus is up: see start().
  void addService(const std::string& name, const std::string& command);
  /// Starts a service now; false when it does not come.
  [[nodiscard]] bool activate(const std::string& name) const;
  /// A frozen bus takes connections and answers nobody.
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
