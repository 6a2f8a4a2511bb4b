#pragma once

#include <chrono>

// Internal to platform/linux.
namespace tarvel {

enum class DirectoryLock {
  kHeld,
  /// Another process kept it for two seconds.
  kBusy,
  /// Not on this file system, or not with this descriptor.
  kImpossible,
};

/// Serialises our writers in a directory; waiters queue for two seconds. Held until the descriptor is closed. While it
/// is held, any temporary file of ours in the directory is stale.
[[nodiscard]] DirectoryLock lockDirectory(int folder);

/// Waits for an exclusive flock on an open file or directory. It is advisory, and ends when the descriptor is closed.
/// On failure errno says why; EWOULDBLOCK: another process held it until `end`.
[[nodiscard]] bool lockUntil(int fd, std::chrono::steady_clock::time_point end);

}  // namespace tarvel
