#pragma once

#include <sys/resource.h>

#include <cstdint>
#include <string>

// Internal to platform/linux, and for the main functions of programs. Not thread-safe.
namespace tarvel {

/// The memory in bytes that this process may use: the machine's, or the smallest memory.max of its cgroups (version 2).
[[nodiscard]] std::uint64_t memoryAllowance(const std::string& groups = "/proc/self/cgroup",
                                            const std::string& hierarchy = "/sys/fs/cgroup");

/// Limits this process's data (soft RLIMIT_DATA) to 15/16 of its allowance; the rest is for code, stacks and page
/// tables. An input that needs more then causes std::bad_alloc, which ends a sort with its error code, instead of a
/// kill by the kernel. A lower limit stays. No limit is set for a process that already uses more than half of it, such
/// as a sanitized program.
void limitMemoryUse();

/// Restores the previous limit during its lifetime, for child processes started meanwhile.
class LiftedMemoryLimit {
 public:
  LiftedMemoryLimit();
  ~LiftedMemoryLimit();
  LiftedMemoryLimit(const LiftedMemoryLimit&) = delete;
  LiftedMemoryLimit& operator=(const LiftedMemoryLimit&) = delete;

 private:
  rlim_t limited_;
};

}  // namespace tarvel
