#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/data.h"
#include "platform/date.h"

namespace tarvel {

/// A file's mtime or ctime, compared for exact equality.
using FileDate = Date;

/// The result of a file operation.
struct FileStatus {
  /// 0 on success, else an errno value or kFileHasChanged.
  int code = 0;
  /// The reason as a sentence; empty on success.
  std::string reason;

  [[nodiscard]] bool ok() const { return code == 0; }  ///< Whether the operation succeeded.
};

/// Identifies a file and its state more reliably than the mtime alone, which programs can set.
struct FileVersion {
  std::uint64_t device = 0;  ///< The file system.
  std::uint64_t file = 0;    ///< The inode.
  std::uint64_t size = 0;    ///< In bytes.
  FileDate date;             ///< The mtime; programs can set it.
  /// The ctime: also changes with name and permissions; programs cannot set it.
  FileDate inodeDate = {};

  /// Whether both are the same file, unchanged.
  friend bool operator==(const FileVersion&, const FileVersion&) = default;
};

/// The contents of a file, or the reason why it could not be read.
struct FileReading {
  Data data;          ///< Empty unless the reading succeeded.
  FileStatus status;  ///< The failure, if any.
  /// The version of the opened file, taken before the first byte was read.
  FileVersion version = {};
};

/// A file's attributes; on failure there is no date and `status` has the reason.
struct FileAttributes {
  std::optional<FileDate> modificationDate;  ///< The mtime.
  FileStatus status;                         ///< The failure, if any.
};

/// A folder's regular files, or the reason why it could not be listed.
struct DirectoryListing {
  /// Names of the regular files, hidden ones included, in byte order. Symbolic links are left out, whatever their
  /// target.
  std::vector<std::string> fileNames;
  FileStatus status;  ///< The failure, if any.
};

/// A standard folder of the system; on failure there is no path and `status` has the reason.
struct DirectoryLookup {
  std::optional<std::string> path;  ///< Without a trailing slash.
  FileStatus status;                ///< The failure, if any.
};

/// The result of replaceItem().
struct FileReplacement {
  FileStatus status;  ///< Success only if the replacement's old path is gone.
  /// Set when the replacement failed half-way: where the target's original item is now.
  std::optional<std::string> originalItemLocation;
};

/// The platform's only exception: an argument with which an operation cannot begin, such as a path that cannot be a
/// URL. Thrown by replaceItem() and moveItem() only, and caught where the engine replaces an item.
class PlatformException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Code of a write that was refused because the file changed since it was read. Not an errno value, so it cannot be
/// confused with one.
inline constexpr int kFileHasChanged = -1;

/// File operations by path. Paths are bytes; a tilde is not expanded; relative paths start at the working directory.
/// Symbolic links are followed unless stated otherwise. Not thread-safe.
class FileManager {
 public:
  virtual ~FileManager() = default;

  /// Whether an item of any kind exists. False for a dangling link.
  [[nodiscard]] virtual bool fileExistsAtPath(const std::string& path) = 0;

  /// Follows symbolic links.
  [[nodiscard]] virtual FileAttributes attributesOfItemAtPath(const std::string& path) = 0;

  /// None when the attributes cannot be read.
  [[nodiscard]] std::optional<FileDate> modificationDateAtPath(const std::string& path) {
    return attributesOfItemAtPath(path).modificationDate;
  }

  /// Reads a regular file; folders, pipes, sockets and devices fail without blocking. A file above the implementation's
  /// size limit fails with EFBIG before memory is allocated.
  [[nodiscard]] virtual FileReading contentsAtPath(const std::string& path) = 0;

  /// Creates the folder and its missing parents with access for the user only. Success if the folder exists.
  [[nodiscard]] virtual FileStatus createDirectoryAtPath(const std::string& path) = 0;

  /// The regular files directly in a folder.
  [[nodiscard]] virtual DirectoryListing filesInDirectoryAtPath(const std::string& path) = 0;

  /// Creates a file with access for the user only. EEXIST if anything exists at the path, even a dangling link. Atomic,
  /// and fsynced on return.
  [[nodiscard]] virtual FileStatus createFileAtPath(const DataPieces& data, const std::string& path) = 0;

  /// Copies a regular file with its mode and dates to a path where nothing exists. Atomic, and fsynced on return. The
  /// copy records its source path, where the file system has extended attributes.
  [[nodiscard]] virtual FileStatus copyItemAtPathToPath(const std::string& source, const std::string& target) = 0;

  /// The `source` that copyItemAtPathToPath() recorded in the file at `path`; survives renames. None if nothing is
  /// recorded.
  [[nodiscard]] virtual std::optional<std::string> sourceOfCopyAtPath(const std::string& path) = 0;

  /// Removes a file, an empty folder, or a symbolic link itself.
  [[nodiscard]] virtual FileStatus removeItemAtPath(const std::string& path) = 0;

  /// Writes `data` to the file at `path`; a new file is accessible to the user only. Atomic wherever the file system
  /// lets a new file replace the old one: at any instant the path holds all old or all new bytes. Keeps mode, owner,
  /// extended attributes and ACLs; follows symbolic links (EACCES for another user's link in a sticky, world-writable
  /// folder); keeps hard links; leaves no stray file. On failure (no write permission, disk full, I/O error) the old
  /// bytes are intact. On success the bytes are fsynced, and any later change of the file gets a different mtime.
  ///
  /// With `readVersion`, guards against concurrent writes: fails with kFileHasChanged, and nothing is lost, if another
  /// program has changed or replaced the file since, even at the last instant, or has it open for writing. Two changes
  /// go unnoticed: one that keeps the size and restores the mtime at the instant of the replacement, and, for files
  /// that are written in place, one in the instant before the write.
  ///
  /// `writtenDate`, unless null, receives the mtime of the written file: any other mtime found later is a later change.
  /// None on failure.
  [[nodiscard]] virtual FileStatus writeDataToPath(const DataPieces& data, const std::string& path,
                                                   const std::optional<FileVersion>& readVersion,
                                                   std::optional<FileDate>* writtenDate) = 0;
  /// Without the written date.
  [[nodiscard]] FileStatus writeDataToPath(const DataPieces& data, const std::string& path,
                                           const std::optional<FileVersion>& readVersion) {
    return writeDataToPath(data, path, readVersion, nullptr);
  }
  /// Unconditionally: overwrites concurrent changes.
  [[nodiscard]] FileStatus writeDataToPath(const DataPieces& data, const std::string& path) {
    return writeDataToPath(data, path, std::nullopt, nullptr);
  }

  /// Reads a regular file that the user owns, without following a symbolic link in the last path component: ELOOP for a
  /// link, EPERM for another user's file. ENOENT means that nothing exists at the path.
  [[nodiscard]] virtual FileReading contentsOfOwnFileAtPath(const std::string& path) = 0;

  /// Replaces a file that contentsOfOwnFileAtPath() read as `version`. Like writeDataToPath(), but never follows a
  /// symbolic link in the last path component. kFileHasChanged if the file no longer has that version.
  [[nodiscard]] virtual FileStatus replaceOwnFileAtPath(const DataPieces& data, const std::string& path,
                                                        const FileVersion& version) = 0;

  /// Whether another process has the file open for writing. False if that is unknown.
  [[nodiscard]] virtual bool isOpenForWritingAtPath(const std::string& path) = 0;

  /// Concurrent writes by other programs that a write displaced from `path` and that could not be put back, or were
  /// superseded by a newer one: the paths of the files that hold them. They are never removed.
  [[nodiscard]] virtual std::vector<std::string> keptSavesAtPath(const std::string& path) = 0;

  /// Whether replaceItem() is available; otherwise callers use exchangeItems().
  [[nodiscard]] virtual bool offersReplaceItem() = 0;

  /// Atomically replaces the item at `target` by the one at `replacement`, whose path is gone on success. A failure
  /// leaves both in place, or reports where the old item is. May throw PlatformException.
  [[nodiscard]] virtual FileReplacement replaceItem(const std::string& target, const std::string& replacement) = 0;

  /// Renames; fails if something exists at `target`. May throw PlatformException.
  [[nodiscard]] virtual FileStatus moveItem(const std::string& source, const std::string& target) = 0;

  /// Atomically exchanges the items at two paths.
  [[nodiscard]] virtual FileStatus exchangeItems(const std::string& first, const std::string& second) = 0;

  /// The folder for application data of the current user; created if missing.
  [[nodiscard]] virtual DirectoryLookup applicationSupportDirectory() = 0;

  /// Expands a leading "~" or "~user"; an unknown user leaves the text unchanged. A path that was expanded, or that
  /// begins with a tilde, loses one trailing slash; any other path is returned unchanged.
  [[nodiscard]] virtual std::string stringByExpandingTildeInPath(const std::string& path) = 0;
};

}  // namespace tarvel
