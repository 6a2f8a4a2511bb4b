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

/// A program to run, with nothing of this process's environment.
struct TracedProgram {
  /// The first one is the program's path.
  std::vector<std::string> arguments;
  /// "NAME=value" each.
  std::vector<std::string> environment;
};

/// A system call that a traced program is about to make, or has made.
struct SystemCall {
  /// Counted from the start of the program's own image, at 0.
  std::size_t index = 0;
  long number = 0;
  std::array<std::uint64_t, 6> arguments{};
  /// After the call: what it returned, a negative errno value for a failure.
  std::int64_t answer = 0;
};

/// What becomes of a call.
struct CallVerdict {
  enum class Kind { kPass, kKill, kFail, kShorten };
  Kind kind = Kind::kPass;
  /// For kFail, an errno value. The call is not made, unless it closes a descriptor.
  int code = 0;
};

/// How a traced program ended.
struct TraceEnd {
  /// False when it could not be traced at all.
  bool wasTraced = false;
  /// -1 for a program that was ended by a signal.
  int exitStatus = -1;
  int signal = 0;
  std::size_t calls = 0;
  /// Its output and its error output, as they came.
  std::string output;

  [[nodiscard]] bool exited() const { return wasTraced && signal == 0; }
};

// A tracer sees each call of a program whatever library makes it, also those of the loader and the allocator, can stop
// the program exactly before it, and reads the memory it writes from. A preloaded library sees only what goes through
// the names it shadows; another tracing program would have to be installed and spoken to.

/// Before each call. A call's index counts on over calls that failed.
using DecideCall = std::function<CallVerdict(pid_t, const SystemCall&)>;
/// After each call that was made, its program standing still.
using ObserveCall = std::function<void(pid_t, const SystemCall&)>;

/// Runs a program of one thread to its end. Children it forks run on untraced.
[[nodiscard]] TraceEnd runTraced(const TracedProgram& program, const DecideCall& decide,
                                 const ObserveCall& observe = nullptr);

/// Bytes of a program that stands still; fewer when it does not have as many.
[[nodiscard]] std::string memoryOf(pid_t program, std::uint64_t address, std::size_t size);
/// Up to the first NUL.
[[nodiscard]] std::string textOf(pid_t program, std::uint64_t address);

}  // namespace tarvel
