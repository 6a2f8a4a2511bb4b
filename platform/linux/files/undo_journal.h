#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/data.h"
#include "platform/linux/files/file_place.h"
#include "platform/linux/files/temporary_file.h"

// Replacing a file's bytes in place cannot be done in one step. Internal to platform/linux.
namespace tarvel {

/// What a file holds and what it is to hold, in a hidden file beside it, for as long as this lives: should the process
/// or the machine end before the write does, the file can be made whole again. A file that has names
/// elsewhere gets an extended attribute with the record's path, so that the record is found from each of them.
class UndoJournal {
 public:
  /// `fd` is the file, open for writing. On the disk when this returns. On failure it tests false, and errno says why.
  UndoJournal(const FilePlace& place, int fd, const Data& oldBytes, const DataPieces& newBytes);
  /// The write is over, done or undone.
  ~UndoJournal();
  UndoJournal(const UndoJournal&) = delete;
  UndoJournal& operator=(const UndoJournal&) = delete;

  explicit operator bool() const { return !name_.empty(); }

 private:
  const FilePlace& place_;
  int fd_;
  TemporaryFile file_;
  std::string name_;
  bool isAnnounced_ = false;
};

/// When a write to the file was cut off: gives it back the bytes it had before. Only if all it holds is a mixture of
/// the two; what another program has saved since stays. `fd` is the file at `place`, open for reading. Waits, up to two
/// seconds, for a writer that still lives.
void rollBackInterruptedWrite(const FilePlace& place, int fd);

/// Whether a name is that of a write's record.
[[nodiscard]] bool isUndoJournalName(std::string_view name);

/// Whose record it is.
struct JournaledFile {
  /// 0 when the bytes are no whole record.
  ino_t inode = 0;
  /// Whether it may be reached by a name that is not in the record's folder.
  bool mayBeElsewhere = false;
};
/// None when the record cannot be read.
[[nodiscard]] std::optional<JournaledFile> fileOfUndoJournal(int folder, const std::string& name);

}  // namespace tarvel
