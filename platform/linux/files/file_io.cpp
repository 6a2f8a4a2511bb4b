#include "platform/linux/files/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <ctime>
#include <vector>

#include "platform/linux/base/safe_text.h"

namespace tarvel {

namespace {

constexpr std::size_t kChunk = std::size_t{256} * 1024;

}  // namespace

FileStatus fileFailure(int code, const std::string& path) {
  std::array<char, 128> buffer{};
  // The GNU version, which returns the text.
  const char* words = ::strerror_r(code, buffer.data(), buffer.size());
  return {code == 0 ? EIO : code, quotedText(path) + ": " + words};
}

bool writeAt(int fd, std::span<const std::uint8_t> bytes, off_t position) {
  while (!bytes.empty()) {
    const ssize_t written = ::pwrite(fd, bytes.data(), std::min(bytes.size(), kChunk), position);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      if (written == 0) errno = EIO;
      return false;
    }
    bytes = bytes.subspan(static_cast<std::size_t>(written));
    position += written;
  }
  return true;
}

bool writePieces(int fd, const DataPieces& data) {
  constexpr std::size_t kMostPieces = 256;
  std::array<iovec, kMostPieces> batch{};
  off_t position = 0;
  for (std::size_t i = 0; i < data.pieces.size();) {
    std::size_t count = 0;
    std::size_t size = 0;
    // Many pieces are a few bytes long, so they are combined.
    for (; i + count < data.pieces.size() && count < kMostPieces && size < kChunk; ++count) {
      const auto piece = data.pieces[i + count];
      batch[count] = {const_cast<std::uint8_t*>(piece.data()), piece.size()};  // NOLINT: the call only reads
      size += piece.size();
    }
    ssize_t written = ::pwritev(fd, batch.data(), static_cast<int>(count), position);
    if (written < 0 && errno != EINTR) return false;
    written = std::max<ssize_t>(written, 0);
    // Writes what a short write left over, piece by piece.
    for (std::size_t j = 0; j < count; ++j) {
      const auto piece = data.pieces[i + j];
      const auto done = std::min(piece.size(), static_cast<std::size_t>(written));
      written -= static_cast<ssize_t>(done);
      if (!writeAt(fd, piece.subspan(done), position + static_cast<off_t>(done))) return false;
      position += static_cast<off_t>(piece.size());
    }
    i += count;
  }
  return true;
}

bool copyBytes(int from, int to) {
  std::vector<std::uint8_t> buffer(kChunk);
  for (off_t position = 0;;) {
    const ssize_t got = ::read(from, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got == 0;
    if (!writeAt(to, {buffer.data(), static_cast<std::size_t>(got)}, position)) return false;
    position += got;
  }
}

std::optional<FileVersion> versionOf(int fd) { return versionOf(fd, ""); }

std::optional<FileVersion> versionOf(int folder, const std::string& name) {
  struct stat status {};
  const int flags = AT_SYMLINK_NOFOLLOW | (name.empty() ? AT_EMPTY_PATH : 0);
  if (::fstatat(folder, name.c_str(), &status, flags) != 0) return std::nullopt;
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return std::nullopt;
  }
  return FileVersion{status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
                     FileDate{status.st_mtim.tv_sec, static_cast<std::uint32_t>(status.st_mtim.tv_nsec)},
                     FileDate{status.st_ctim.tv_sec, static_cast<std::uint32_t>(status.st_ctim.tv_nsec)}};
}

bool keepsItsEntries(int folder) {
  struct statx status {};
  return ::statx(folder, "", AT_EMPTY_PATH, STATX_MODE, &status) == 0 &&
         (status.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0;
}

void syncFolder(int folder) { (void)::fsync(folder); }

void waitForLaterTimestamp(int fd) {
  constexpr std::chrono::milliseconds kLongest(20);
  constexpr timespec kPause{0, 500'000};
  struct stat status {};
  if (::fstat(fd, &status) != 0) return;
  const timespec& date = status.st_mtim;
  const auto end = std::chrono::steady_clock::now() + kLongest;
  while (std::chrono::steady_clock::now() < end) {
    timespec now{};
    (void)::clock_gettime(CLOCK_REALTIME_COARSE, &now);
    if (now.tv_sec > date.tv_sec || (now.tv_sec == date.tv_sec && now.tv_nsec > date.tv_nsec)) return;
    (void)::nanosleep(&kPause, nullptr);
  }
}

}  // namespace tarvel
