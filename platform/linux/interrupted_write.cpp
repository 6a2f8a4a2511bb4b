#include "platform/linux/interrupted_write.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

#include "platform/linux/file_reading.h"

namespace tarvel {

namespace {

constexpr std::string_view kPrefix = ".tarvel-undo-";
constexpr int kHexadecimal = 16;
/// Neither disks nor file systems write less at a time.
constexpr std::size_t kBlock = 512;

/// At the start of a record, before the old and the new bytes. Read on the machine that wrote it.
struct Header {
  std::array<char, 16> mark = {'t', 'a', 'r', 'v', 'e', 'l', ' ', 'u', 'n', 'd', 'o', ' ', '1', '\n'};
  std::uint64_t oldSize = 0;
  std::uint64_t newSize = 0;
};

std::string recordName(ino_t inode) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), inode, kHexadecimal);
  return std::string(kPrefix).append(digits.data(), end.ptr);
}

std::string_view asText(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};  // NOLINT: bytes compared as text
}

struct Versions {
  std::string_view before;
  std::string_view after;
};

/// The two versions in a record; none when it is not one.
std::optional<Versions> versionsIn(std::string_view record) {
  Header header;
  const Header expected;
  if (record.size() < sizeof header) return std::nullopt;
  std::memcpy(&header, record.data(), sizeof header);
  record.remove_prefix(sizeof header);
  if (header.mark != expected.mark || header.oldSize > record.size()) return std::nullopt;
  const Versions versions{record.substr(0, header.oldSize), record.substr(header.oldSize)};
  if (versions.after.size() != header.newSize) return std::nullopt;
  return versions;
}

/// A version as long as its space: with zeros behind its end.
std::string padded(std::string_view version, std::size_t size) {
  std::string bytes(version);
  bytes.resize(size);
  return bytes;
}

/// Whether a block is one version up to some place and the other one from there.
bool isSeam(std::string_view block, std::string_view first, std::string_view second) {
  const auto front = std::mismatch(block.begin(), block.end(), first.begin()).first - block.begin();
  const auto back = std::mismatch(block.rbegin(), block.rend(), second.rbegin()).first - block.rbegin();
  return front + back >= static_cast<std::ptrdiff_t>(block.size());
}

/// Whether the bytes are neither version, but all of them are from one or the other.
bool isMixture(std::string_view bytes, const Versions& versions) {
  const auto [least, most] = std::minmax({versions.before.size(), versions.after.size()});
  if (bytes == versions.before || bytes == versions.after || bytes.size() < least || bytes.size() > most) return false;
  const std::string before = padded(versions.before, most);
  const std::string after = padded(versions.after, most);
  for (std::size_t at = 0; at < bytes.size(); at += kBlock) {
    const std::string_view block = bytes.substr(at, kBlock);
    const std::string_view old = std::string_view(before).substr(at, block.size());
    const std::string_view fresh = std::string_view(after).substr(at, block.size());
    if (!isSeam(block, fresh, old) && !isSeam(block, old, fresh)) return false;
  }
  return true;
}

void giveBack(const FilePlace& place, const struct stat& status, std::string_view bytes) {
  const UniqueFd fd(::openat(place.folder.get(), place.name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat opened {};
  if (!fd || ::fstat(fd.get(), &opened) != 0 || opened.st_ino != status.st_ino) return;
  const auto* first = reinterpret_cast<const std::uint8_t*>(bytes.data());  // NOLINT: text written as bytes
  if (!writeAt(fd.get(), {first, bytes.size()}, 0)) return;
  if (::ftruncate(fd.get(), static_cast<off_t>(bytes.size())) == 0) (void)::fsync(fd.get());
}

/// The record of a write that nobody goes on with. Only one that could have been written by who could write the file.
UniqueFd openRecord(const FilePlace& place, const struct stat& file) {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  UniqueFd fd(::openat(place.folder.get(), recordName(file.st_ino).c_str(), kFlags));
  struct stat status {};
  const bool isGood = fd && ::fstat(fd.get(), &status) == 0 && S_ISREG(status.st_mode) &&
                      (status.st_uid == file.st_uid || status.st_uid == ::geteuid()) &&
                      ::flock(fd.get(), LOCK_EX | LOCK_NB) == 0;
  return isGood ? std::move(fd) : UniqueFd();
}

}  // namespace

WriteRecord::WriteRecord(const FilePlace& place, ino_t file, const Data& oldBytes, const DataPieces& newBytes)
    : place_(place), file_(place.folder.get(), kPrivate) {
  if (keepsItsEntries(place.folder.get())) {
    errno = EPERM;
    return;
  }
  Header header;
  header.oldSize = oldBytes.size();
  header.newSize = newBytes.size();
  DataPieces record;
  record.pieces = {{reinterpret_cast<const std::uint8_t*>(&header), sizeof header}, oldBytes.bytes()};  // NOLINT
  record.pieces.insert(record.pieces.end(), newBytes.pieces.begin(), newBytes.pieces.end());
  const std::string name = recordName(file);
  const bool isThere = file_ && writePieces(file_.fd(), record) && ::fsync(file_.fd()) == 0 && file_.replace(name);
  if (!isThere) return;
  name_ = name;
  syncFolder(place.folder.get());
}

WriteRecord::~WriteRecord() {
  if (!name_.empty()) (void)::unlinkat(place_.folder.get(), name_.c_str(), 0);
}

void undoInterruptedWrite(int fd) {
  struct stat status {};
  std::array<char, PATH_MAX> path{};
  const std::string self = "/proc/self/fd/" + std::to_string(fd);
  if (::fstat(fd, &status) != 0) return;
  const ssize_t length = ::readlink(self.c_str(), path.data(), path.size());
  if (length <= 0 || path[0] != '/') return;
  const FilePlace place = placeOf(std::string(path.data(), static_cast<std::size_t>(length)));
  if (!place.folder) return;
  const UniqueFd record = openRecord(place, status);
  struct stat size {};
  if (!record || ::fstat(record.get(), &size) != 0) return;
  const FileReading contents = readWhole(record.get(), static_cast<std::size_t>(size.st_size), place.name);
  const FileReading now = readWhole(fd, static_cast<std::size_t>(status.st_size), place.name);
  (void)::lseek(fd, 0, SEEK_SET);
  if (!contents.status.ok() || !now.status.ok()) return;
  const std::optional<Versions> versions = versionsIn(asText(contents.data.bytes()));
  if (versions && isMixture(asText(now.data.bytes()), *versions)) giveBack(place, status, versions->before);
  (void)::unlinkat(place.folder.get(), recordName(status.st_ino).c_str(), 0);
}

ino_t inodeOfWriteRecord(const std::string& name) {
  ino_t inode = 0;
  if (!name.starts_with(kPrefix)) return 0;
  const char* end = name.data() + name.size();
  const auto parsed = std::from_chars(name.data() + kPrefix.size(), end, inode, kHexadecimal);
  return parsed.ec == std::errc() && parsed.ptr == end ? inode : 0;
}

}  // namespace tarvel
