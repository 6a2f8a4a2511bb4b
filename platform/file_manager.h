#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/data.h"
#include "platform/date.h"

namespace tarvel {

/// A file's date, compared for exact equality.
using FileDate = Date;

/// How a file operation ended.
struct FileStatus {
  /// 0 for success, else an errno value of the system below, or kFileHasChanged.
  int code = 0;
  /// A sentence for people, empty on success.
  std::string reason;

  /// Whether the operation succeeded.
  [[nodiscard]] bool ok() const { return code == 0; }
};

/// Which file was read, and as of when: more than its date, which others can set.
struct FileVersion {
  std::uint64_t device = 0;  ///< The file system it lies on.
  std::uint64_t file = 0;    ///< Its number there.
  std::uint64_t size = 0;    ///< In bytes.
  FileDate date;             ///< When its content changed last. Programs may set it.
  /// When anything of it changed last, its name and its rights included. Programs cannot set it.
  FileDate inodeDate = {};

  /// Equal when everything is.
  friend bool operator==(const FileVersion&, const FileVersion&) = default;
};

/// The whole contents of a file, or why they could not be had.
struct FileReading {
  Data data;          ///< Empty unless the reading succeeded.
  FileStatus status;  ///< Why there are no contents.
  /// Of the file that was opened, before its first byte was read.
  FileVersion version = {};
};

/// A file's attributes, or why they could not be had: without a date, `status` tells.
struct FileAttributes {
  std::optional<FileDate> modificationDate;  ///< When the contents changed last.
  FileStatus status;                         ///< Why there is no date.
};

/// What a folder holds, or why that could not be had.
struct DirectoryListing {
  /// The names of its regular files, hidden ones too, in byte order. Links, whatever they lead to, are none.
  std::vector<std::string> fileNames;
  FileStatus status;  ///< Why there are none; success also for an empty folder.
};

/// A folder that the system sets aside for a purpose, or why there is none: without a path, `status` tells.
struct DirectoryLookup {
  std::optional<std::string> path;  ///< Without a slash at the end.
  FileStatus status;                ///< Why there is no path.
};

/// How taking another item's place ended.
struct FileReplacement {
  FileStatus status;  ///< Success only when nothing is left of the replacement elsewhere.
  /// Set when the replacement failed half-way: where the target's old item now lies.
  std::optional<std::string> originalItemLocation;
};

/// The one exception of the platform: an argument that an operation cannot even begin with, such as a path that makes
/// no address. Thrown by replaceItem() and moveItem() only, and caught where the engine replaces an item.
class PlatformException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The code of a write that did not happen because the file is no longer as it was read. Not an errno value, so that no
/// error of a file system can be taken for it.
inline constexpr int kFileHasChanged = -1;

/// Files by path. Paths are bytes as given, without tilde; relative ones start at the working directory.
/// Symbolic links are followed except where said otherwise. One thread at a time.
class FileManager {
 public:
  virtual ~FileManager() = default;

  /// Whether anything, of whatever kind, exists there. A link that leads nowhere does not exist.
  [[nodiscard]] virtual bool fileExistsAtPath(const std::string& path) = 0;

  /// A symbolic link answers for the file it leads to.
  [[nodiscard]] virtual FileAttributes attributesOfItemAtPath(const std::string& path) = 0;

  /// None when the attributes cannot be read.
  [[nodiscard]] std::optional<FileDate> modificationDateAtPath(const std::string& path) {
    return attributesOfItemAtPath(path).modificationDate;
  }

  /// Reads a regular file as a whole; anything else (folder, pipe, socket, device) fails without blocking. A file
  /// larger than the limit, which is an implementation's own, fails with EFBIG before it takes any room.
  [[nodiscard]] virtual FileReading contentsAtPath(const std::string& path) = 0;

  /// Makes the folder and every missing one above it, for nobody but the user. A folder that is there already is
  /// success.
  [[nodiscard]] virtual FileStatus createDirectoryAtPath(const std::string& path) = 0;

  /// The regular files of a folder, not those of folders in it.
  [[nodiscard]] virtual DirectoryListing filesInDirectoryAtPath(const std::string& path) = 0;

  /// Makes a file of these bytes, for nobody but the user, at a path where nothing exists, not even a link: EEXIST
  /// otherwise. It appears whole or not at all, and is on the disk when this returns.
  [[nodiscard]] virtual FileStatus createFileAtPath(const DataPieces& data, const std::string& path) = 0;

  /// Copies one regular file with its mode and dates to a path where nothing exists; the copy appears whole or not at
  /// all, and is on the disk when this returns. The copy records the path it was copied from, where the file system
  /// keeps such records.
  [[nodiscard]] virtual FileStatus copyItemAtPathToPath(const std::string& source, const std::string& target) = 0;

  /// The path, as given then, that copyItemAtPathToPath() copied to the file at `path`; renaming the copy changes
  /// nothing. None for a file that is no such copy, and for one without a record.
  [[nodiscard]] virtual std::optional<std::string> sourceOfCopyAtPath(const std::string& path) = 0;

  /// Removes a file or an empty folder; a symbolic link itself, not what it leads to.
  [[nodiscard]] virtual FileStatus removeItemAtPath(const std::string& path) = 0;

  /// Puts `data` into the file at `path`, making it, for nobody but the user, if need be. Whole or nothing: at any
  /// instant the path holds all old or all new bytes, wherever the file system lets a new file take the old one's
  /// place. Keeps mode, owner, extended attributes and access lists, writes through symbolic links to the file itself
  /// (EACCES for another user's link in a sticky folder where anyone may write), does not break hard links, and leaves
  /// no stray file. Fails, with the old bytes intact, on a file the user may not write, on a full disk and on any input
  /// or output error. When it returns success the bytes are on the disk, and a later change of the file carries another
  /// date.
  ///
  /// With `readVersion`, what was read: fails with kFileHasChanged, and nothing is lost, when another program has
  /// changed the file since or put another in its place, even at the last instant, or has it open for writing. Two
  /// changes are not noticed: one that keeps the size and sets the old date again in the instant of the replacement,
  /// and, where bytes can only be replaced in place, one in the instant before they are.
  ///
  /// `writtenDate`, unless null, gets the date that this write gave to the file: any other date found afterwards is a
  /// later change. It gets none when the write fails.
  [[nodiscard]] virtual FileStatus writeDataToPath(const DataPieces& data, const std::string& path,
                                                   const std::optional<FileVersion>& readVersion,
                                                   std::optional<FileDate>* writtenDate) = 0;
  /// The same for callers that need no date.
  [[nodiscard]] FileStatus writeDataToPath(const DataPieces& data, const std::string& path,
                                           const std::optional<FileVersion>& readVersion) {
    return writeDataToPath(data, path, readVersion, nullptr);
  }
  /// The same over whatever the file is by now.
  [[nodiscard]] FileStatus writeDataToPath(const DataPieces& data, const std::string& path) {
    return writeDataToPath(data, path, std::nullopt, nullptr);
  }

  /// Reads a regular file of the user's own, without following a symbolic link at the end of the path: ELOOP for a
  /// link, EPERM for another user's file. ENOENT alone says that nothing is there.
  [[nodiscard]] virtual FileReading contentsOfOwnFileAtPath(const std::string& path) = 0;

  /// Puts `data` in place of a file that contentsOfOwnFileAtPath() read as `version`, as writeDataToPath() does, but
  /// never through a symbolic link at the end of the path. kFileHasChanged when that version is no longer there.
  [[nodiscard]] virtual FileStatus replaceOwnFileAtPath(const DataPieces& data, const std::string& path,
                                                        const FileVersion& version) = 0;

  /// Whether another process has the file open for writing. False also when that cannot be told.
  [[nodiscard]] virtual bool isOpenForWritingAtPath(const std::string& path) = 0;

  /// Saves of other programs that a write displaced from `path` and that could not be put back, or gave way to a newer
  /// one: the paths of the files that hold them. None is ever removed.
  [[nodiscard]] virtual std::vector<std::string> keptSavesAtPath(const std::string& path) = 0;

  /// Whether replaceItem() exists here. Where it does not, exchangeItems() is the way.
  [[nodiscard]] virtual bool offersReplaceItem() = 0;

  /// The item at `replacement` takes the place of the one at `target` in one step; on success nothing is left at
  /// `replacement`. A failure leaves both where they were, or tells where the old one is. May throw PlatformException.
  [[nodiscard]] virtual FileReplacement replaceItem(const std::string& target, const std::string& replacement) = 0;

  /// Renames; fails when something exists at `target`. May throw PlatformException.
  [[nodiscard]] virtual FileStatus moveItem(const std::string& source, const std::string& target) = 0;

  /// Exchanges what two paths name, in one step.
  [[nodiscard]] virtual FileStatus exchangeItems(const std::string& first, const std::string& second) = 0;

  /// Where the current user's applications keep their files; made when it is missing.
  [[nodiscard]] virtual DirectoryLookup applicationSupportDirectory() = 0;

  /// A leading "~" or "~user" becomes that user's home folder; an unknown user leaves the text as it is. A path that
  /// was expanded, or that begins with a tilde, loses one trailing slash; any other path is returned untouched.
  [[nodiscard]] virtual std::string stringByExpandingTildeInPath(const std::string& path) = 0;
};

}  // namespace tarvel
