#pragma once

#include <sys/types.h>

#include <string>

#include "platform/data.h"
#include "platform/linux/file_support.h"

// Replacing a file's bytes in place cannot be done in one step. Internal to platform/linux.
namespace tarvel {

/// What a file holds and what it is to hold, in a hidden file beside it, for as long as this lives: should the process
/// or the machine end before the write does, the file can be made whole again.
class WriteRecord {
 public:
  /// On the disk when this returns. On failure it tests false, and errno says why.
  WriteRecord(const FilePlace& place, ino_t file, const Data& oldBytes, const DataPieces& newBytes);
  /// The write is over, done or undone.
  ~WriteRecord();
  WriteRecord(const WriteRecord&) = delete;
  WriteRecord& operator=(const WriteRecord&) = delete;

  explicit operator bool() const { return !name_.empty(); }

 private:
  const FilePlace& place_;
  TemporaryFile file_;
  std::string name_;
};

/// When a write to the open file was cut off: gives it back the bytes it had before. Only if all it holds is a mixture
/// of the two; what somebody has saved since stays. Does nothing while the writer still lives.
void undoInterruptedWrite(int fd);

/// The inode in the name of a write's record; 0 for any other name.
[[nodiscard]] ino_t inodeOfWriteRecord(const std::string& name);

}  // namespace tarvel
