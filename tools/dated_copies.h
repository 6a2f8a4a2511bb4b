#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace tarvel {

/// A copy of a bookmarks file that says in its name when it was made.
struct DatedCopy {
  std::string name;
  std::string path;
  Date time;
};

struct DatedCopyListing {
  /// The oldest first.
  std::vector<DatedCopy> copies;
  FileStatus status;
};

/// Which earlier copy makes a new one superfluous when its bytes are the same.
enum class EarlierCopy { kNewest, kAny };

struct CopyMaking {
  FileStatus status;
  /// The one that was made, or that was there already.
  DatedCopy copy;
  bool isNew = false;
};

/// The dated copies of one bookmarks file, in the folder of the first copy. Those of other files lie there too, told
/// apart by their names, and are nobody's affair here. Runs on the calling thread; `platform` is borrowed.
class DatedCopies {
 public:
  /// `file` is the path of the bookmarks file.
  DatedCopies(const Platform& platform, std::string folder, const std::string& file);

  /// A folder that is not there yet holds none.
  [[nodiscard]] DatedCopyListing list() const;

  /// Keeps these bytes: in a new file for nobody but the user, whole or not at all, which replaces nothing; unless an
  /// earlier copy has them.
  [[nodiscard]] CopyMaking keep(const Data& bytes, EarlierCopy earlier) const;

  [[nodiscard]] const std::string& folder() const { return folder_; }

 private:
  [[nodiscard]] std::optional<DatedCopy> findSame(const Data& bytes, EarlierCopy earlier,
                                                  const std::vector<DatedCopy>& copies) const;

  const Platform& platform_;
  std::string folder_;
  std::string fileTag_;
};

/// The bytes as a bookmarks file: how many bookmarks it holds, or none when it is no such file. Logs nothing.
[[nodiscard]] std::optional<std::size_t> bookmarkCount(const Platform& platform, const Data& bytes);

[[nodiscard]] bool haveSameBytes(const Data& first, const Data& second);

}  // namespace tarvel
