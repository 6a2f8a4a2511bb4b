#include "platform/linux/files/file_reading.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>
#include <utility>

#include "platform/linux/files/file_io.h"
#include "platform/linux/files/file_size_limit.h"

namespace tarvel {

namespace {

/// From this size huge pages pay off: faulting in small pages costs more than the read.
constexpr std::size_t kHugePage = std::size_t{2} << 20;

}  // namespace

std::shared_ptr<std::uint8_t> allocateBuffer(std::size_t size) {
  if (size < kHugePage) {
    return {new (std::nothrow) std::uint8_t[size], [](std::uint8_t* bytes) { delete[] bytes; }};
  }
  void* memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  (void)::madvise(memory, size, MADV_HUGEPAGE);
  return {static_cast<std::uint8_t*>(memory), [size](std::uint8_t* bytes) { (void)::munmap(bytes, size); }};
}

ssize_t readUpTo(int fd, std::uint8_t* bytes, std::size_t size) {
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t got = ::read(fd, bytes + filled, size - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  return static_cast<ssize_t>(filled);
}

UniqueFd openRegular(const std::string& path, struct stat& status) {
  if (path.find('\0') != std::string::npos) {
    errno = EINVAL;
    return {};
  }
  if (::stat(path.c_str(), &status) != 0) return {};
  UniqueFd fd;
  if (S_ISREG(status.st_mode)) fd = UniqueFd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (S_ISREG(status.st_mode) && (!fd || ::fstat(fd.get(), &status) != 0)) return {};
  if (S_ISREG(status.st_mode)) return fd;
  errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  return {};
}

FileReading readWhole(int fd, std::size_t expected, const std::string& path) {
  return readWholeUpTo(fd, expected, std::numeric_limits<std::size_t>::max(), path);
}

FileReading readWholeUpTo(int fd, std::size_t expected, std::size_t most, const std::string& path) {
  if (expected > most) return {{}, fileTooLarge(most, path)};
  // One more byte, to detect the end; and some for files of /proc, whose size is reported as 0.
  constexpr std::size_t kLeast = 4096;
  std::size_t capacity = std::max(expected + 1, kLeast);
  std::shared_ptr<std::uint8_t> buffer = allocateBuffer(capacity);
  std::size_t size = 0;
  for (;;) {
    if (!buffer) return {{}, fileFailure(ENOMEM, path)};
    const ssize_t got = readUpTo(fd, buffer.get() + size, capacity - size);
    if (got < 0) return {{}, fileFailure(path)};
    size += static_cast<std::size_t>(got);
    if (size > most) return {{}, fileTooLarge(most, path)};
    if (size < capacity) return {Data(std::move(buffer), size), {}};
    std::shared_ptr<std::uint8_t> larger = allocateBuffer(capacity * 2);
    if (larger) std::copy_n(buffer.get(), size, larger.get());
    buffer = std::move(larger);
    capacity *= 2;
  }
}

}  // namespace tarvel
