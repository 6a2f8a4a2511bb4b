#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/file_manager.h"
#include "platform/linux/base/unique_fd.h"

// Reading whole files. Internal to platform/linux.
namespace tarvel {

/// Uninitialised memory; none when there is not enough.
[[nodiscard]] std::shared_ptr<std::uint8_t> allocateBuffer(std::size_t size);

/// Reads on until `size` bytes are there or the file ends, and answers how many there are; -1 with errno set on
/// failure.
[[nodiscard]] ssize_t readUpTo(int fd, std::uint8_t* bytes, std::size_t size);

/// Opens a regular file for reading, and nothing else: opening a pipe would wait, opening a device might do something.
/// On failure there is no descriptor and errno says why.
[[nodiscard]] UniqueFd openRegular(const std::string& path, struct stat& status);

/// The whole file, whatever its size says: it may grow or shrink while it is read. `path` is for the failure's text.
[[nodiscard]] FileReading readWhole(int fd, std::size_t expected, const std::string& path);
/// The same, but a file of more than `most` bytes fails with EFBIG, at once where its size says so.
[[nodiscard]] FileReading readWholeUpTo(int fd, std::size_t expected, std::size_t most, const std::string& path);

}  // namespace tarvel
