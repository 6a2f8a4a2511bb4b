#pragma once

#include <sys/types.h>

#include <functional>
#include <vector>

namespace tarvel {

/// One system call that fails, always, instead of being made.
struct CallFault {
  long number = 0;
  int code = 0;
  /// Looked at only when not negative: the call fails if the low 32 bits of this argument, masked, are `value`.
  int argument = -1;
  unsigned mask = 0xFFFFFFFF;
  unsigned value = 0;
};

// What happens in a child process ends with it. Each answers the body's answer, below 100; more means that the child
// could not be set up or was killed.

[[nodiscard]] int inChild(const std::function<int()>& body);

/// As a user without privileges, if this one has any.
[[nodiscard]] int inChildWithoutPrivileges(const std::function<int()>& body);

/// As the user and group with this number; takes root.
[[nodiscard]] int inChildAs(unsigned user, const std::function<int()>& body);

/// A process of the user with this number that runs `body` until it is destroyed; takes root.
class ProcessOf {
 public:
  ProcessOf(unsigned user, const std::function<int()>& body);
  ~ProcessOf();
  ProcessOf(const ProcessOf&) = delete;
  ProcessOf& operator=(const ProcessOf&) = delete;

 private:
  pid_t process_;
};

/// With system calls that fail.
[[nodiscard]] int inChildWithFaults(const std::vector<CallFault>& faults, const std::function<int()>& body);

/// Whether any child is left, alive or dead. Waits for none, so that it takes nobody's work.
[[nodiscard]] bool hasChildren();

/// Makes these calls fail for the rest of this process's life; false when the system refuses.
[[nodiscard]] bool installFaults(const std::vector<CallFault>& faults);

}  // namespace tarvel
