#pragma once

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace tarvel {

/// A program to run. It does not inherit this process's environment.
struct TracedProgram {
  /// The first is the program's path.
  std::vector<std::string> arguments;
  /// Each as "NAME=value".
  std::vector<std::string> environment;
};

/// A system call of a traced program, before or after it is made.
struct SystemCall {
  /// Counted from 0 at the start of the program's own image.
  std::size_t index = 0;
  long number = 0;
  std::array<std::uint64_t, 6> arguments{};
  /// After the call: its result, or a negative errno value.
  std::int64_t answer = 0;
};

/// What the tracer does to a call.
struct CallVerdict {
  enum class Kind { kPass, kKill, kFail, kShorten };
  Kind kind = Kind::kPass;
  /// For kFail: an errno value. The call is not made, unless it closes a descriptor.
  int code = 0;

  [[nodiscard]] static CallVerdict pass() { return {}; }
  [[nodiscard]] static CallVerdict failWith(int code) { return {Kind::kFail, code}; }
};

/// How a traced program ended.
struct TraceEnd {
  /// False when it could not be traced.
  bool wasTraced = false;
  /// -1 when a signal ended the program.
  int exitStatus = -1;
  int signal = 0;
  std::size_t calls = 0;
  /// Standard output and standard error, interleaved.
  std::string output;

  [[nodiscard]] bool exited() const { return wasTraced && signal == 0; }
};

// ptrace sees every system call, including those of the loader and the allocator, can stop the program exactly before
// each, and can read the memory that it writes from. A preloaded library would see only the functions that it replaces.
// A seccomp filter stops the program, since it does so once a call and PTRACE_SYSCALL twice.

/// Called before each system call. Calls that fail are counted too.
using DecideCall = std::function<CallVerdict(pid_t, const SystemCall&)>;
/// Called after each system call that was made, while the program is stopped.
using ObserveCall = std::function<void(pid_t, const SystemCall&)>;

/// Runs a single-threaded program without children to its end.
[[nodiscard]] TraceEnd runTraced(const TracedProgram& program, const DecideCall& decide,
                                 const ObserveCall& observe = nullptr);

/// The same without a tracer, which is faster. Returns the exit status, or -1 when a signal ended the program.
[[nodiscard]] int runUntraced(const TracedProgram& program);

/// Bytes of a stopped program's memory; fewer when they are not all mapped.
[[nodiscard]] std::string memoryOf(pid_t program, std::uint64_t address, std::size_t size);
/// The text up to the first NUL.
[[nodiscard]] std::string textOf(pid_t program, std::uint64_t address);

}  // namespace tarvel
