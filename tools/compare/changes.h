#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tools/compare/tree_comparison.h"

namespace tarvel {

/// Where a folder is: the titles from the top level down, see ShortenedPath. Empty for the top level itself. Copies
/// share the titles.
class FolderPath {
 public:
  using value_type = std::string;
  using const_iterator = std::vector<std::string>::const_iterator;
  using iterator = const_iterator;

  FolderPath() : FolderPath(std::vector<std::string>()) {}
  FolderPath(std::initializer_list<std::string> titles) : FolderPath(std::vector<std::string>(titles)) {}
  explicit FolderPath(std::vector<std::string> titles)
      : titles_(std::make_shared<const std::vector<std::string>>(std::move(titles))) {}

  [[nodiscard]] bool empty() const { return titles_->empty(); }
  [[nodiscard]] const_iterator begin() const { return titles_->begin(); }
  [[nodiscard]] const_iterator end() const { return titles_->end(); }
  friend bool operator==(const FolderPath& a, const FolderPath& b) { return *a.titles_ == *b.titles_; }

 private:
  std::shared_ptr<const std::vector<std::string>> titles_;
};

struct RemovedEntry {
  FolderPath folder;
  std::string title;
  std::string address;  ///< Empty for a folder, and for a bookmark without one.
  AbsenceReason reason = AbsenceReason::kGone;
  /// Of a duplicate: the bookmark that stays, with its final title and folder.
  std::string keptTitle;
  FolderPath keptFolder;
};

struct AddedEntry {
  FolderPath folder;
  std::string title;
  std::string address;
};

struct NamedEntry {
  FolderPath folder;
  std::string title;
};

struct RenamedEntry {
  FolderPath folder;
  std::string before;
  std::string after;
};

struct ReaddressedEntry {
  FolderPath folder;
  std::string title;
  std::string before;
  std::string after;
};

/// One entry of a folder whose order changed. Places count from 1; the earlier one is that in the original file.
struct OrderedEntry {
  std::string title;
  std::size_t place = 1;
  std::size_t earlierPlace = 1;
  bool isMoved = false;  ///< One of the fewest that had to move.
  /// Set when the entry came from another folder: that folder.
  bool isFromElsewhere = false;
  FolderPath earlierFolder;
};

struct OrderedFolder {
  FolderPath folder;
  std::size_t movedCount = 0;
  std::vector<OrderedEntry> entries;
};

/// What differs between two trees, ready to be shown: the counts, and as many entries of each kind as were asked for.
struct Changes {
  /// Of a sort: whether there is a new order to write. If not, nothing of all this reaches the file.
  bool isOrderChanged = false;
  std::size_t movedCount = 0;
  std::size_t folderCount = 0;  ///< Folders that hold an entry that moved.
  std::size_t removedCount = 0;
  std::size_t addedCount = 0;
  std::size_t renamedCount = 0;
  std::size_t namedCount = 0;
  std::size_t readdressedCount = 0;

  std::vector<OrderedFolder> ordered;
  std::vector<RemovedEntry> removed;
  std::vector<AddedEntry> added;
  std::vector<RenamedEntry> renamed;
  std::vector<NamedEntry> named;
  std::vector<ReaddressedEntry> readdressed;

  [[nodiscard]] bool isEmpty() const;
};

/// Which entries of a folder whose order changed to list.
enum class OrderDetail { kMoved, kAll };

/// The changes of a comparison, in the order of the trees. Leaves `isOrderChanged` false: only a sort knows that.
[[nodiscard]] Changes changesOf(const TreeComparison& comparison, OrderDetail detail = OrderDetail::kMoved);

}  // namespace tarvel
