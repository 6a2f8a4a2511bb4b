#pragma once

// Internal to platform/linux.
namespace tarvel {

enum class Writers {
  kNone,
  kSome,
  /// Leases are not supported here or not permitted.
  kUnknown,
};

/// Whether any process has the file open or mapped for writing. `fd` must be open for reading only.
///
/// Tries to take a read lease, which fails while there are writers, and releases it at once: a concurrent open blocks
/// for microseconds at most. Only the owner may take a lease, so root acts as the owner.
[[nodiscard]] Writers writersOf(int fd);

}  // namespace tarvel
