#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/data.h"
#include "platform/linux/files/file_place.h"
#include "platform/linux/files/temporary_file.h"

// Undo information for in-place writes, which are not atomic. Internal to platform/linux.
namespace tarvel {

/// A hidden file beside the written one with its old and new contents, for the duration of an in-place write: if the
/// process or machine stops, the file can be restored. A file with other names gets an extended attribute with the
/// journal's path, so that the journal is found from each of them.
class UndoJournal {
 public:
  /// `fd` is the file, open for writing. The journal is fsynced on return. On failure tests false with errno set.
  UndoJournal(const FilePlace& place, int fd, const Data& oldBytes, const DataPieces& newBytes);
  /// The write has completed or was undone.
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

/// If an in-place write of the file was interrupted, restores the old bytes. Only if the contents are a mixture of old
/// and new bytes; a later save by another program is kept. `fd` is the file at `place`, open for reading. Waits up to
/// two seconds for a living writer.
void rollBackInterruptedWrite(const FilePlace& place, int fd);

/// Whether `name` is a journal's.
[[nodiscard]] bool isUndoJournalName(std::string_view name);

/// The file that a journal belongs to.
struct JournaledFile {
  /// 0 if the journal is incomplete.
  ino_t inode = 0;
  /// Whether the file may have names outside of the journal's folder.
  bool mayBeElsewhere = false;
};
/// None if the journal cannot be read.
[[nodiscard]] std::optional<JournaledFile> fileOfUndoJournal(int folder, const std::string& name);

}  // namespace tarvel
