#include "platform/linux/files/undo_journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

#include "platform/linux/base/signal_hold.h"
#include "platform/linux/files/directory_lock.h"
#include "platform/linux/files/file_io.h"
#include "platform/linux/files/file_place.h"
#include "platform/linux/files/file_reading.h"
#include "platform/linux/files/temporary_file.h"

namespace tarvel {

namespace {

constexpr std::string_view kJournalPrefix = ".tarvel-undo-";
constexpr int kHexadecimal = 16;
/// Neither disks nor file systems write smaller units.
constexpr std::size_t kBlock = 512;

constexpr const char* kAttribute = "user.tarvel.undo";

/// Start of a journal, followed by the old and the new bytes. Read on the machine that wrote it.
struct Header {
  std::array<char, 16> mark = {'t', 'a', 'r', 'v', 'e', 'l', ' ', 'u', 'n', 'd', 'o', ' ', '2', '\n'};
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  /// Whether the file may have names outside of the journal's folder.
  std::uint64_t mayBeElsewhere = 0;
  /// Whether file and journal are on one device. Device numbers may change at each boot.
  std::uint64_t isBesideRecord = 0;
  std::uint64_t oldSize = 0;
  std::uint64_t newSize = 0;
};

std::string recordName(ino_t inode) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), inode, kHexadecimal);
  return std::string(kJournalPrefix).append(digits.data(), end.ptr);
}

std::string_view asText(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};  // NOLINT: bytes compared as text
}

struct Versions {
  std::string_view before;
  std::string_view after;
};

struct Record {
  Header header;
  Versions versions;
};

/// None if the bytes are not a complete journal.
std::optional<Record> parseRecord(std::string_view bytes) {
  Record record;
  const Header expected;
  if (bytes.size() < sizeof record.header) return std::nullopt;
  std::memcpy(&record.header, bytes.data(), sizeof record.header);
  bytes.remove_prefix(sizeof record.header);
  if (record.header.mark != expected.mark || record.header.oldSize > bytes.size()) return std::nullopt;
  record.versions = {bytes.substr(0, record.header.oldSize), bytes.substr(record.header.oldSize)};
  if (record.versions.after.size() != record.header.newSize) return std::nullopt;
  return record;
}

/// A version extended with zeros to `size`.
std::string padded(std::string_view version, std::size_t size) {
  std::string bytes(version);
  bytes.resize(size);
  return bytes;
}

/// Whether a block is a prefix of one version followed by a suffix of the other.
bool isSeam(std::string_view block, std::string_view first, std::string_view second) {
  const auto front = std::mismatch(block.begin(), block.end(), first.begin()).first - block.begin();
  const auto back = std::mismatch(block.rbegin(), block.rend(), second.rbegin()).first - block.rbegin();
  return front + back >= static_cast<std::ptrdiff_t>(block.size());
}

/// Whether the bytes are neither version, but a mixture of both.
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

bool giveBack(const FilePlace& place, const struct stat& status, std::string_view bytes) {
  const SignalHold hold;
  const UniqueFd fd(::openat(place.folder.get(), place.name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat opened {};
  if (!fd || ::fstat(fd.get(), &opened) != 0 || opened.st_ino != status.st_ino) return false;
  const auto* first = reinterpret_cast<const std::uint8_t*>(bytes.data());  // NOLINT: text written as bytes
  return writeAt(fd.get(), {first, bytes.size()}, 0) && ::ftruncate(fd.get(), static_cast<off_t>(bytes.size())) == 0 &&
         ::fsync(fd.get()) == 0;
}

/// The journal of a write whose process has ended. Only accepted if its owner could have written the file.
UniqueFd openRecord(const FilePlace& record, const struct stat& file) {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  constexpr std::chrono::seconds kLongestWait(2);
  UniqueFd fd(::openat(record.folder.get(), record.name.c_str(), kFlags));
  struct stat status {};
  const bool isGood = fd && ::fstat(fd.get(), &status) == 0 && S_ISREG(status.st_mode) &&
                      (status.st_uid == file.st_uid || status.st_uid == ::geteuid()) &&
                      lockUntil(fd.get(), std::chrono::steady_clock::now() + kLongestWait);
  return isGood ? std::move(fd) : UniqueFd();
}

/// Inode numbers are unique per device only.
bool isRecordOf(const Header& header, const struct stat& file, const FilePlace& record) {
  struct stat folder {};
  if (header.inode != file.st_ino || ::fstat(record.folder.get(), &folder) != 0) return false;
  return header.device == file.st_dev || (header.isBesideRecord != 0 && folder.st_dev == file.st_dev);
}

/// Undoes the write that a journal describes, and removes the journal.
void undoWith(const FilePlace& record, const FilePlace& place, int fd) {
  struct stat file {};
  struct stat size {};
  if (::fstat(fd, &file) != 0) return;
  const UniqueFd opened = openRecord(record, file);
  if (!opened || ::fstat(opened.get(), &size) != 0) return;
  const FileReading contents = readWhole(opened.get(), static_cast<std::size_t>(size.st_size), record.name);
  (void)::lseek(fd, 0, SEEK_SET);
  const FileReading now = readWhole(fd, static_cast<std::size_t>(file.st_size), place.name);
  (void)::lseek(fd, 0, SEEK_SET);
  if (!contents.status.ok() || !now.status.ok()) return;
  const std::optional<Record> parsed = parseRecord(asText(contents.data.bytes()));
  if (parsed && !isRecordOf(parsed->header, file, record)) return;
  const bool isTorn = parsed && isMixture(asText(now.data.bytes()), parsed->versions);
  // A journal is removed only once the file is known to be intact.
  if (isTorn && !giveBack(place, file, parsed->versions.before)) return;
  (void)::fremovexattr(fd, kAttribute);
  (void)::unlinkat(record.folder.get(), record.name.c_str(), 0);
}

/// The journal's path from the file's attribute.
std::optional<FilePlace> announcedRecord(int fd) {
  std::array<char, PATH_MAX> path{};
  const ssize_t length = ::fgetxattr(fd, kAttribute, path.data(), path.size());
  if (length <= 0 || path[0] != '/') return std::nullopt;
  FilePlace place = placeOf(std::string(path.data(), static_cast<std::size_t>(length)));
  if (!place.folder || !isUndoJournalName(place.name)) return std::nullopt;
  return place;
}

/// Other hard links, or, for a mount point, the path that it was mounted from.
bool hasOtherPaths(const FilePlace& place, const struct stat& file, const struct stat& folder) {
  struct statx status {};
  const int flags = AT_SYMLINK_NOFOLLOW;
  const bool isKnown = ::statx(place.folder.get(), place.name.c_str(), flags, STATX_TYPE, &status) == 0;
  const bool isMounted = isKnown && (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
  return file.st_nlink > 1 || file.st_dev != folder.st_dev || isMounted;
}

}  // namespace

UndoJournal::UndoJournal(const FilePlace& place, int fd, const Data& oldBytes, const DataPieces& newBytes)
    : place_(place), fd_(fd), file_(place.folder.get(), kPrivate) {
  if (keepsItsEntries(place.folder.get())) {
    errno = EPERM;
    return;
  }
  struct stat status {};
  struct stat folder {};
  if (!file_ || ::fstat(fd, &status) != 0 || ::fstat(place.folder.get(), &folder) != 0) return;
  Header header;
  header.device = status.st_dev;
  header.inode = status.st_ino;
  header.mayBeElsewhere = hasOtherPaths(place, status, folder) ? 1 : 0;
  header.isBesideRecord = folder.st_dev == status.st_dev ? 1 : 0;
  header.oldSize = oldBytes.size();
  header.newSize = newBytes.size();
  DataPieces record;
  record.pieces = {{reinterpret_cast<const std::uint8_t*>(&header), sizeof header}, oldBytes.bytes()};  // NOLINT
  record.pieces.insert(record.pieces.end(), newBytes.pieces.begin(), newBytes.pieces.end());
  const std::string name = recordName(status.st_ino);
  if (!writePieces(file_.fd(), record) || ::fsync(file_.fd()) != 0 || !file_.replace(name)) return;
  name_ = name;
  syncFolder(place.folder.get());
  if (header.mayBeElsewhere == 0) return;
  const std::string path = pathInFolder(place.folder.get(), name);
  isAnnounced_ = ::fsetxattr(fd, kAttribute, path.data(), path.size(), 0) == 0;
}

UndoJournal::~UndoJournal() {
  if (isAnnounced_) (void)::fremovexattr(fd_, kAttribute);
  if (!name_.empty()) (void)::unlinkat(place_.folder.get(), name_.c_str(), 0);
}

void rollBackInterruptedWrite(const FilePlace& place, int fd) {
  struct stat status {};
  if (::fstat(fd, &status) != 0) return;
  const FilePlace beside{UniqueFd(::fcntl(place.folder.get(), F_DUPFD_CLOEXEC, 0)), recordName(status.st_ino)};
  if (beside.folder) undoWith(beside, place, fd);
  if (const std::optional<FilePlace> announced = announcedRecord(fd)) undoWith(*announced, place, fd);
}

bool isUndoJournalName(std::string_view name) {
  return name.starts_with(kJournalPrefix) && name.size() > kJournalPrefix.size() &&
         name.find_first_not_of("0123456789abcdef", kJournalPrefix.size()) == std::string_view::npos;
}

std::optional<JournaledFile> fileOfUndoJournal(int folder, const std::string& name) {
  const UniqueFd fd(::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!fd || ::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  const FileReading contents = readWhole(fd.get(), static_cast<std::size_t>(status.st_size), name);
  if (!contents.status.ok()) return std::nullopt;
  const std::optional<Record> record = parseRecord(asText(contents.data.bytes()));
  return record ? JournaledFile{record->header.inode, record->header.mayBeElsewhere != 0} : JournaledFile{};
}

}  // namespace tarvel
