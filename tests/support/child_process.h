#pragma once

#include <sys/types.h>

#include <functional>
#include <vector>

namespace tarvel {

/// A system call that always fails.
struct CallFault {
  long number = 0;
  int code = 0;
  /// The index of an argument; negative for none. The call fails if its low 32 bits, masked, equal `value`.
  int argument = -1;
  unsigned mask = 0xFFFFFFFF;
  unsigned value = 0;
};

// Each runs `body` in a child process and returns its result, which is below 100; more means that the child could not
// be set up or was killed.

[[nodiscard]] int inChild(const std::function<int()>& body);

/// As a user without privileges.
[[nodiscard]] int inChildWithoutPrivileges(const std::function<int()>& body);

/// As the user and group with this number. Needs root.
[[nodiscard]] int inChildAs(unsigned user, const std::function<int()>& body);

/// A process of the user with this number that runs `body` until it is destroyed. Needs root.
class ProcessOf {
 public:
  ProcessOf(unsigned user, const std::function<int()>& body);
  ~ProcessOf();
  ProcessOf(const ProcessOf&) = delete;
  ProcessOf& operator=(const ProcessOf&) = delete;

 private:
  pid_t process_;
};

/// With failing system calls.
[[nodiscard]] int inChildWithFaults(const std::vector<CallFault>& faults, const std::function<int()>& body);

/// Whether any child is left, running or not. Reaps none.
[[nodiscard]] bool hasChildren();

/// Makes these calls fail for the rest of this process; false when the kernel refuses.
[[nodiscard]] bool installFaults(const std::vector<CallFault>& faults);

}  // namespace tarvel
