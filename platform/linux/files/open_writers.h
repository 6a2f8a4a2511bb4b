#pragma once

// Internal to platform/linux.
namespace tarvel {

enum class Writers {
  kNone,
  kSome,
  /// The file system or the system's rules do not let us ask.
  kUnknown,
};

/// Whether any process has the file open, or mapped, to write to it. `fd` must be open for reading only.
///
/// A lease tells: it is refused while there are writers. It is given up at once, so that a program that opens the file
/// in this instant waits for microseconds. Only the owner may take one, so root asks as the owner.
[[nodiscard]] Writers writersOf(int fd);

}  // namespace tarvel
