#pragma once

#include <chrono>

// Internal to platform/linux.
namespace tarvel {

enum class DirectoryLock {
  kHeld,
  /// Another process kept it for two seconds.
  kBusy,
  /// Locking is not supported for this file system or descriptor.
  kImpossible,
};

/// Serialises our writers in a directory; waiters queue for two seconds. Held until the descriptor is closed. While it
/// is held, any temporary file of ours in the directory is stale.
[[nodiscard]] DirectoryLock lockDirectory(int folder);

/// Waits for an exclusive flock on an open file or directory. Advisory; released when the descriptor is closed. On
/// failure errno is set; EWOULDBLOCK: another process held the lock until `end`.
[[nodiscard]] bool lockUntil(int fd, std::chrono::steady_clock::time_point end);

}  // namespace tarvel
