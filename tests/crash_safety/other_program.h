#pragma once

#include <string>

#include "platform/linux/base/unique_fd.h"

namespace tarvel {

/// How another program saves the bookmarks file.
enum class SaveMethod {
  /// A new file renamed over the old one.
  kRename,
  /// Removed and recreated. The new file may get the inode number of the old one.
  kRecreate,
  /// Opened with truncation, then written.
  kTruncate,
  /// Overwritten without truncation, in one call.
  kInPlace,
  /// Written through one descriptor that stays open.
  kThroughOpenFile,
};

/// A program that saves the bookmarks file repeatedly. Each save has its own number.
///
/// It never blocks: a stopped traced program may hold a lease on the file.
class OtherProgram {
 public:
  OtherProgram(std::string file, SaveMethod method) : file_(std::move(file)), method_(method) {}

  /// Saves once. False when the file cannot be opened now; the caller tries again later.
  [[nodiscard]] bool save();
  /// The number of the last save; 0 when there was none.
  [[nodiscard]] int lastSave() const { return lastSave_; }
  /// Whether it keeps the file open between saves.
  [[nodiscard]] bool keepsFileOpen() const { return method_ == SaveMethod::kThroughOpenFile; }

  /// An unsorted bookmarks file with this number in it.
  [[nodiscard]] static std::string bytesOf(int number);
  /// The number in a bookmarks file; -1 when there is none.
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
