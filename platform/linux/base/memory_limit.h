#pragma once

#include <sys/resource.h>

#include <cstdint>
#include <string>

// Internal to platform/linux, and for the main functions of programs. One thread at a time.
namespace tarvel {

/// The most memory in bytes that this process may have: the machine's, or less where one of its control groups says so
/// (memory.max, version 2 of the hierarchy).
[[nodiscard]] std::uint64_t memoryAllowance(const std::string& groups = "/proc/self/cgroup",
                                            const std::string& hierarchy = "/sys/fs/cgroup");

/// Limits this process's data (RLIMIT_DATA, the soft limit) to fifteen sixteenths of its allowance; the rest is for
/// code, stacks and page tables. An input that would take more then meets std::bad_alloc, which ends a sort with its
/// code, instead of SIGKILL. A lower limit stays, and a process that already has more than half of this one, as a
/// sanitized program has from its start, gets none.
void limitMemoryUse();

/// Puts the limit back for as long as it lives: for programs started meanwhile, whose memory is their own affair.
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
