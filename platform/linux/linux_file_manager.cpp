#include "platform/linux/linux_file_manager.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "platform/linux/file_support.h"
#include "platform/path_components.h"

namespace tarvel {

namespace {

/// From here on a buffer is worth huge pages: touching it for the first time costs more than reading into it.
constexpr std::size_t kHugePage = std::size_t{2} << 20;

/// Uninitialised memory; none when there is not enough.
std::shared_ptr<std::uint8_t> allocateBuffer(std::size_t size) {
  if (size < kHugePage) {
    return {new (std::nothrow) std::uint8_t[size], [](std::uint8_t* bytes) { delete[] bytes; }};
  }
  void* memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  (void)::madvise(memory, size, MADV_HUGEPAGE);
  return {static_cast<std::uint8_t*>(memory), [size](std::uint8_t* bytes) { (void)::munmap(bytes, size); }};
}

/// Reads on until `size` bytes are there or the file ends. -1 with errno set on failure.
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

/// Opens a regular file for reading, and nothing else: opening a pipe would wait, opening a device might do something.
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

/// The whole file, whatever its size says: it may grow or shrink while it is read.
FileReading readWhole(int fd, std::size_t expected, const std::string& path) {
  std::size_t capacity = expected + 1;
  std::shared_ptr<std::uint8_t> buffer = allocateBuffer(capacity);
  std::size_t size = 0;
  for (;;) {
    if (!buffer) return {{}, fileFailure(ENOMEM, path)};
    const ssize_t got = readUpTo(fd, buffer.get() + size, capacity - size);
    if (got < 0) return {{}, fileFailure(path)};
    size += static_cast<std::size_t>(got);
    if (size < capacity) return {Data(std::move(buffer), size), {}};
    std::shared_ptr<std::uint8_t> larger = allocateBuffer(capacity * 2);
    if (larger) std::copy_n(buffer.get(), size, larger.get());
    buffer = std::move(larger);
    capacity *= 2;
  }
}

std::string homeOfUser(const std::string& user) {
  const char* home = std::getenv("HOME");
  if (user.empty() && home != nullptr && *home != '\0') return home;
  std::vector<char> buffer(std::size_t{16} * 1024);
  passwd entry{};
  passwd* found = nullptr;
  if (user.empty()) {
    (void)::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
  } else {
    (void)::getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found);
  }
  return found == nullptr ? std::string() : std::string(found->pw_dir);
}

}  // namespace

bool LinuxFileManager::fileExistsAtPath(const std::string& path) {
  struct stat status {};
  return path.find('\0') == std::string::npos && ::stat(path.c_str(), &status) == 0;
}

FileAttributes LinuxFileManager::attributesOfItemAtPath(const std::string& path) {
  struct statx status {};
  if (path.find('\0') != std::string::npos) return {std::nullopt, fileFailure(EINVAL, path)};
  if (::statx(AT_FDCWD, path.c_str(), 0, STATX_MTIME, &status) != 0) return {std::nullopt, fileFailure(path)};
  return {FileDate{status.stx_mtime.tv_sec, status.stx_mtime.tv_nsec}, {}};
}

FileReading LinuxFileManager::contentsAtPath(const std::string& path) {
  struct stat status {};
  const UniqueFd fd = openRegular(path, status);
  if (!fd) return {{}, fileFailure(path)};
  return readWhole(fd.get(), static_cast<std::size_t>(status.st_size), path);
}

FileStatus LinuxFileManager::createDirectoryAtPath(const std::string& path) {
  constexpr mode_t kOrdinary = 0777;
  if (path.empty() || path.find('\0') != std::string::npos) return fileFailure(path.empty() ? ENOENT : EINVAL, path);
  std::vector<std::string> missing;
  struct stat status {};
  for (std::string folder = path; ::stat(folder.c_str(), &status) != 0; folder = deletingLastPathComponent(folder)) {
    if (errno != ENOENT) return fileFailure(path);
    missing.push_back(folder);
    if (deletingLastPathComponent(folder).empty()) break;
  }
  if (missing.empty() && !S_ISDIR(status.st_mode)) return fileFailure(EEXIST, path);
  for (auto folder = missing.rbegin(); folder != missing.rend(); ++folder) {
    // Somebody else may have made it in between.
    if (::mkdir(folder->c_str(), kOrdinary) != 0 && errno != EEXIST) return fileFailure(path);
    const FilePlace made = placeOf(*folder);
    if (made.folder) syncFolder(made.folder.get());
  }
  if (::stat(path.c_str(), &status) != 0) return fileFailure(path);
  return S_ISDIR(status.st_mode) ? FileStatus{} : fileFailure(EEXIST, path);
}

FileStatus LinuxFileManager::copyItemAtPathToPath(const std::string& source, const std::string& target) {
  struct stat status {};
  const UniqueFd from = openRegular(source, status);
  if (!from) return fileFailure(source);
  const FileReading reading = readWhole(from.get(), static_cast<std::size_t>(status.st_size), source);
  if (!reading.status.ok()) return reading.status;
  const FilePlace place = placeOf(target);
  if (!place.folder) return fileFailure(target);
  struct stat existing {};
  if (::fstatat(place.folder.get(), place.name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0) {
    return fileFailure(EEXIST, target);
  }
  TemporaryFile copy(place.folder.get());
  if (!copy) return fileFailure(target);
  const std::array<timespec, 2> dates = {status.st_atim, status.st_mtim};
  // Attributes that the place cannot hold are left behind; the bytes are what a copy is for.
  (void)copyAttributes(from.get(), copy.fd());
  const bool isCopied = writeAt(copy.fd(), reading.data.bytes(), 0) &&
                        ::fchmod(copy.fd(), status.st_mode & 0777) == 0 && ::futimens(copy.fd(), dates.data()) == 0 &&
                        ::fsync(copy.fd()) == 0 && copy.appear(place.name);
  if (!isCopied) return fileFailure(target);
  syncFolder(place.folder.get());
  return {};
}

FileStatus LinuxFileManager::removeItemAtPath(const std::string& path) {
  const FilePlace place = placeOf(path);
  if (!place.folder) return fileFailure(path);
  if (::unlinkat(place.folder.get(), place.name.c_str(), 0) == 0) return {};
  if (errno != EISDIR) return fileFailure(path);
  return ::unlinkat(place.folder.get(), place.name.c_str(), AT_REMOVEDIR) == 0 ? FileStatus{} : fileFailure(path);
}

std::string expandTilde(const std::string& path, const std::function<std::string(const std::string&)>& homeOf) {
  if (!path.starts_with('~')) return path;
  const std::size_t slash = std::min(path.find('/'), path.size());
  const std::string home = homeOf(path.substr(1, slash - 1));
  std::string expanded = home.empty() ? path : home + path.substr(slash);
  if (expanded.size() > 1 && expanded.back() == '/') expanded.pop_back();
  return expanded;
}

DirectoryLookup LinuxFileManager::applicationSupportDirectory() {
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  // A relative path there is to be ignored, says the base directory convention.
  const bool isUsable = dataHome != nullptr && *dataHome == '/';
  const std::string path = isUsable ? dataHome : stringByExpandingTildeInPath("~/.local/share");
  FileStatus status = createDirectoryAtPath(path);
  if (!status.ok()) return {std::nullopt, std::move(status)};
  return {path, {}};
}

std::string LinuxFileManager::stringByExpandingTildeInPath(const std::string& path) {
  return expandTilde(path, homeOfUser);
}

}  // namespace tarvel
