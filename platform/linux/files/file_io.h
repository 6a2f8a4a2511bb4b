#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "platform/data.h"
#include "platform/file_manager.h"

// System calls on open files and folders. Internal to platform/linux.
namespace tarvel {

/// A failure with the system's text for the errno value `code`.
[[nodiscard]] FileStatus fileFailure(int code, const std::string& path);
/// For the current errno.
[[nodiscard]] inline FileStatus fileFailure(const std::string& path) { return fileFailure(errno, path); }

/// Writes everything, in chunks; false with errno set.
[[nodiscard]] bool writePieces(int fd, const DataPieces& data);
/// Writes at a position; false with errno set.
[[nodiscard]] bool writeAt(int fd, std::span<const std::uint8_t> bytes, off_t position);
/// Copies a file's bytes into an empty one; false with errno set.
[[nodiscard]] bool copyBytes(int from, int to);
/// fsync of a folder. Errors are ignored: some file systems do not support it and do not need it.
void syncFolder(int folder);
/// Waits until the kernel's coarse clock is past the file's mtime, so that any later change has another mtime. At most
/// 20 milliseconds.
void waitForLaterTimestamp(int fd);

/// The version of an open file, or of the regular file with this name (links are not followed). None with errno set
/// otherwise.
[[nodiscard]] std::optional<FileVersion> versionOf(int fd);
[[nodiscard]] std::optional<FileVersion> versionOf(int folder, const std::string& name);
/// Whether the folder is immutable or append-only: no entry can be renamed or removed.
[[nodiscard]] bool keepsItsEntries(int folder);

}  // namespace tarvel
