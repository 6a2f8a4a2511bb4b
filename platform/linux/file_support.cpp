#include "platform/linux/file_support.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/linux/link_walk.h"

namespace tarvel {

namespace {

/// As many as the kernel follows itself.
constexpr int kMostLinks = 40;
constexpr std::size_t kChunk = std::size_t{256} * 1024;

UniqueFd openFolder(int base, const std::string& path) {
  // A folder that may be entered but not listed still serves, only its entries cannot be synced.
  UniqueFd readable(::openat(base, path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (readable || errno != EACCES) return readable;
  return UniqueFd(::openat(base, path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

FilePlace placeFrom(int base, const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (path.find('\0') != std::string::npos) {
    errno = EINVAL;
    return {};
  }
  if (name.empty() || name == "." || name == "..") {
    errno = path.empty() ? ENOENT : EISDIR;
    return {};
  }
  return {openFolder(base, folder), std::move(name)};
}

constexpr std::string_view kTemporaryPrefix = ".tarvel-";
constexpr std::size_t kRandomDigits = 16;

}  // namespace

std::string randomDigits() {
  std::uint64_t number = 0;
  if (::getrandom(&number, sizeof number, 0) != sizeof number) return {};
  std::array<char, kRandomDigits + 1> digits{};
  (void)std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(number));
  return digits.data();
}

bool isTemporaryName(std::string_view name) {
  return name.size() == kTemporaryPrefix.size() + kRandomDigits && name.starts_with(kTemporaryPrefix) &&
         name.find_first_not_of("0123456789abcdef", kTemporaryPrefix.size()) == std::string_view::npos;
}

FileStatus fileFailure(int code, const std::string& path) {
  std::array<char, 128> buffer{};
  // The GNU form, which answers the text.
  const char* words = ::strerror_r(code, buffer.data(), buffer.size());
  return {code == 0 ? EIO : code, "“" + path + "”: " + words};
}

FilePlace placeOf(const std::string& path) { return placeFrom(AT_FDCWD, path); }

FilePlace followLinks(const std::string& path) {
  FilePlace place = placeOf(path);
  for (int i = 0; place.folder && i < kMostLinks; ++i) {
    const std::optional<std::string> target = targetOfTrustedLink(place.folder.get(), place.name);
    if (!target) {
      const bool isNoLink = errno == EINVAL || errno == ENOENT;
      return isNoLink ? std::move(place) : FilePlace{};
    }
    place = placeFrom(place.folder.get(), *target);
  }
  if (place.folder) errno = ELOOP;
  return {};
}

std::string pathInFolder(int folder, const std::string& name) {
  std::error_code error;
  const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(folder), error);
  return (path / name).string();
}

TemporaryFile::TemporaryFile(int folder, mode_t mode) : folder_(folder) {
  const bool canBeNamedLater = ::access("/proc/self/fd", X_OK) == 0;
  if (canBeNamedLater) fd_ = UniqueFd(::openat(folder, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
  const bool isUnsupported = !canBeNamedLater || errno == EOPNOTSUPP || errno == EISDIR || errno == ENOENT;
  if (!fd_ && isUnsupported) createNamed(mode);
  // Held as long as this process lives and the file is in the making. What nobody holds is abandoned.
  if (fd_) (void)::flock(fd_.get(), LOCK_EX | LOCK_NB);
}

void TemporaryFile::createNamed(mode_t mode) {
  const std::string digits = randomDigits();
  if (digits.empty()) return;
  temporaryName_ = std::string(kTemporaryPrefix) + digits;
  fd_ = UniqueFd(::openat(folder_, temporaryName_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  if (!fd_) temporaryName_.clear();
}

TemporaryFile::~TemporaryFile() {
  if (hasTemporaryName()) (void)::unlinkat(folder_, temporaryName_.c_str(), 0);
}

/// The file is open, so no other can have its inode number.
bool TemporaryFile::hasTemporaryName() const {
  struct stat named {};
  struct stat own {};
  return !temporaryName_.empty() && ::fstatat(folder_, temporaryName_.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         ::fstat(fd_.get(), &own) == 0 && named.st_ino == own.st_ino && named.st_dev == own.st_dev;
}

bool TemporaryFile::giveName(const std::string& name) {
  const std::string self = "/proc/self/fd/" + std::to_string(fd_.get());
  return ::linkat(AT_FDCWD, self.c_str(), folder_, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

bool TemporaryFile::nameTemporarily(std::string name) {
  const bool isNamed =
      temporaryName_.empty() ? giveName(name) : ::renameat(folder_, temporaryName_.c_str(), folder_, name.c_str()) == 0;
  if (isNamed) temporaryName_ = std::move(name);
  return isNamed;
}

bool TemporaryFile::replace(const std::string& name) {
  if (temporaryName_.empty()) {
    const std::string digits = randomDigits();
    if (digits.empty() || !nameTemporarily(std::string(kTemporaryPrefix) + digits)) return false;
  }
  if (::renameat(folder_, temporaryName_.c_str(), folder_, name.c_str()) != 0) return false;
  temporaryName_.clear();
  return true;
}

bool TemporaryFile::exchange(const std::string& name, const std::string& displaced) {
  if (!nameTemporarily(displaced)) return false;
  if (::renameat2(folder_, displaced.c_str(), folder_, name.c_str(), RENAME_EXCHANGE) != 0) return false;
  temporaryName_.clear();
  return true;
}

bool TemporaryFile::appear(const std::string& name) {
  if (temporaryName_.empty()) return giveName(name);
  const bool isNamed = ::renameat2(folder_, temporaryName_.c_str(), folder_, name.c_str(), RENAME_NOREPLACE) == 0;
  if (isNamed) temporaryName_.clear();
  if (isNamed || (errno != EINVAL && errno != ENOSYS)) return isNamed;
  // A file system without that kind of rename: a second link, which never replaces either. Without links too, all that
  // is left is to look first.
  if (::linkat(folder_, temporaryName_.c_str(), folder_, name.c_str(), 0) == 0) return true;
  struct stat existing {};
  const bool hasNoLinks = errno == EPERM || errno == EOPNOTSUPP;
  if (!hasNoLinks || ::fstatat(folder_, name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0) return false;
  return replace(name);
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
    // Many pieces are a few bytes: they go together.
    for (; i + count < data.pieces.size() && count < kMostPieces && size < kChunk; ++count) {
      const auto piece = data.pieces[i + count];
      batch[count] = {const_cast<std::uint8_t*>(piece.data()), piece.size()};  // NOLINT: the call only reads
      size += piece.size();
    }
    ssize_t written = ::pwritev(fd, batch.data(), static_cast<int>(count), position);
    if (written < 0 && errno != EINTR) return false;
    written = std::max<ssize_t>(written, 0);
    // What the call left over goes piece by piece.
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

bool lockUntil(int fd, std::chrono::steady_clock::time_point end) {
  constexpr timespec kPause{0, 2'000'000};
  while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() >= end) return false;
    (void)::nanosleep(&kPause, nullptr);
  }
  return true;
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

void waitForNextTick(int fd) {
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
