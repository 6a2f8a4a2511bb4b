#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "platform/data.h"
#include "platform/file_manager.h"
#include "platform/linux/unique_fd.h"

// What the file operations share. Internal to platform/linux.
namespace tarvel {

/// A failure with the system's words for `code`.
[[nodiscard]] FileStatus fileFailure(int code, const std::string& path);
/// The same for the errno value just set.
[[nodiscard]] inline FileStatus fileFailure(const std::string& path) { return fileFailure(errno, path); }

/// A file as an open folder and a name in it, so that nobody can redirect what follows by swapping the folder.
struct FilePlace {
  UniqueFd folder;
  std::string name;
};

/// Where `path` leads once every symbolic link at its end is followed; the file itself need not exist. On failure the
/// folder is empty and errno says why: EACCES also for a link that targetOfTrustedLink() refuses.
[[nodiscard]] FilePlace followLinks(const std::string& path);
/// The same without following a link at the end.
[[nodiscard]] FilePlace placeOf(const std::string& path);

/// For a file that is nobody's affair until it is done.
inline constexpr mode_t kPrivate = 0600;

/// A new file in a folder that has no name yet, or (where the file system cannot do that) a hidden random one. What has
/// its name in the end is removed only if it is this very file.
class TemporaryFile {
 public:
  /// `mode` is subject to the user's mask. On failure the file tests false and errno says why.
  TemporaryFile(int folder, mode_t mode);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  explicit operator bool() const { return static_cast<bool>(fd_); }
  [[nodiscard]] int fd() const { return fd_.get(); }

  /// Gives the file its name, in place of whatever has it. Answers whether that worked, else errno says why.
  [[nodiscard]] bool replace(const std::string& name);
  /// Exchanges the file with whatever has the name; from then on that has the name `displaced`, and is the caller's.
  /// On failure errno says why, EINVAL or ENOSYS: not on this file system.
  [[nodiscard]] bool exchange(const std::string& name, const std::string& displaced);
  /// The same, but fails with EEXIST when something has the name. A file without a name gets this one and no other.
  [[nodiscard]] bool appear(const std::string& name);

 private:
  [[nodiscard]] bool giveName(const std::string& name);
  [[nodiscard]] bool nameTemporarily(std::string name);
  [[nodiscard]] bool hasTemporaryName() const;
  void createNamed(mode_t mode);

  int folder_;
  UniqueFd fd_;
  std::string temporaryName_;
};

/// Writes everything, in chunks; false with errno set.
[[nodiscard]] bool writePieces(int fd, const DataPieces& data);
/// Writes a stretch at a position; false with errno set.
[[nodiscard]] bool writeAt(int fd, std::span<const std::uint8_t> bytes, off_t position);
/// Copies one file's bytes into another that is empty; false with errno set.
[[nodiscard]] bool copyBytes(int from, int to);
/// Puts a folder's entries on the disk, as far as the file system cares.
void syncFolder(int folder);
/// Waits until the kernel's coarse clock has passed the date of a file's bytes, so that a later change of any file
/// carries another. At most 20 milliseconds.
void waitForNextTick(int fd);
/// Waits for the right to be the only one at work on an open file or folder. Others may take no notice; the right ends
/// when the file is closed, or its process. On failure errno says why: EWOULDBLOCK when somebody kept it to the end.
[[nodiscard]] bool lockUntil(int fd, std::chrono::steady_clock::time_point end);
/// Of an open file, or of the regular file with this name, no link followed. None, with errno set, for anything else.
[[nodiscard]] std::optional<FileVersion> versionOf(int fd);
[[nodiscard]] std::optional<FileVersion> versionOf(int folder, const std::string& name);
/// Whether a folder can lose no name, as one that only grows.
[[nodiscard]] bool keepsItsEntries(int folder);
/// Sixteen hexadecimal digits; empty, with errno set, when the system has none.
[[nodiscard]] std::string randomDigits();
/// Whether a name is that of a temporary file.
[[nodiscard]] bool isTemporaryName(std::string_view name);
/// The path of an entry of an open folder, for when that is no longer open.
[[nodiscard]] std::string pathInFolder(int folder, const std::string& name);

}  // namespace tarvel
