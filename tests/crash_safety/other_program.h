#pragma once

#include <string>

#include "platform/linux/base/unique_fd.h"

namespace tarvel {

/// How another program saves the bookmarks file.
enum class SaveMethod {
  /// A new file renamed over the old one.
  kRename,
  /// Removed, then made anew. The new file may get the inode number of the old one.
  kRecreate,
  /// Opened with truncation, then written.
  kTruncate,
  /// Overwritten without truncation, in one call.
  kInPlace,
  /// Opened once, and written to from then on for as long as the program runs.
  kThroughOpenFile,
};

/// A program that saves the bookmarks file again and again; each save is told from the others by its number.
///
/// It never blocks: a traced program may hold a lease on the file while it stands still.
class OtherProgram {
 public:
  OtherProgram(std::string file, SaveMethod method) : file_(std::move(file)), method_(method) {}

  /// Saves once. False when the file cannot be opened at this instant; the caller tries again later.
  [[nodiscard]] bool save();
  /// The number of the last save; 0 when there was none.
  [[nodiscard]] int lastSave() const { return lastSave_; }
  /// Whether it has the file open from one save to the next.
  [[nodiscard]] bool keepsFileOpen() const { return method_ == SaveMethod::kThroughOpenFile; }

  /// The bytes of a bookmarks file that is not in order and carries this number.
  [[nodiscard]] static std::string bytesOf(int number);
  /// The number in a bookmarks file; -1 when these are no such bytes.
  [[nodiscard]] static int numberIn(const std::string& bytes);

 private:
  [[nodiscard]] bool saveByRename(const std::string& bytes) const;
  [[nodiscard]] bool saveInto(const std::string& bytes);

  std::string file_;
  SaveMethod method_;
  UniqueFd open_;
  int lastSave_ = 0;
};

}  // namespace tarvel
