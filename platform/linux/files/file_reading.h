#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/file_manager.h"
#include "platform/linux/base/unique_fd.h"

// Reads whole files. Internal to platform/linux.
namespace tarvel {

/// Uninitialised memory; null when out of memory.
[[nodiscard]] std::shared_ptr<std::uint8_t> allocateBuffer(std::size_t size);

/// Reads until `size` bytes or the end of the file. Returns the count; -1 with errno set.
[[nodiscard]] ssize_t readUpTo(int fd, std::uint8_t* bytes, std::size_t size);

/// Opens a regular file for reading; never opens anything else, as opening a pipe blocks and opening a device can have
/// side effects. On failure without a descriptor, errno set.
[[nodiscard]] UniqueFd openRegular(const std::string& path, struct stat& status);

/// Reads the whole file. Its size is only a hint, as it may change meanwhile. `path` is for error messages.
[[nodiscard]] FileReading readWhole(int fd, std::size_t expected, const std::string& path);
/// Fails with EFBIG for more than `most` bytes, before reading if the size says so.
[[nodiscard]] FileReading readWholeUpTo(int fd, std::size_t expected, std::size_t most, const std::string& path);

}  // namespace tarvel
