#pragma once

#include <tsl/robin_map.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/sort_observer.h"

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
  RemovalReason reason = RemovalReason::kEmptyFolder;
  /// Of a duplicate: the bookmark that stays, as it is called and placed in the end.
  std::string keptTitle;
  FolderPath keptFolder;
  /// A second top-level bar or menu in whose place the first one stands now, or something in it. Then `reason`, which
  /// is one of cleaning's, means nothing.
  bool isReplaced = false;
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

/// One entry of a folder whose order changed, in the new order.
struct OrderedEntry {
  std::string title;
  std::size_t earlierPosition = 0;  ///< Counted from 0.
  bool isMoved = false;             ///< One of the fewest that had to move.
};

struct OrderedFolder {
  FolderPath folder;
  std::size_t movedCount = 0;
  /// Only where they were asked for.
  std::vector<OrderedEntry> entries;
};

/// What a sort did, or would do.
struct Changes {
  /// Whether a new order is to be written. If not, nothing of all this reaches the file.
  bool isOrderChanged = false;
  std::vector<OrderedFolder> ordered;
  std::vector<RemovedEntry> removed;
  std::vector<NamedEntry> named;
  std::vector<RenamedEntry> renamed;

  [[nodiscard]] std::size_t movedCount() const;
  [[nodiscard]] bool cleansSomething() const { return !removed.empty() || !named.empty() || !renamed.empty(); }
};

/// Whether to note each entry of a folder whose order changed, or only how many moved.
enum class OrderDetail { kCounts, kEntries };

/// Collects what a sort tells, as texts that outlive the tree. Costs little for what did not change.
class ChangeRecorder final : public SortObserver {
 public:
  explicit ChangeRecorder(OrderDetail detail) : detail_(detail) {}

  void attemptBegan(PropertyListDictionary root) override;
  void folderEntered(PropertyListDictionary folder) override;
  void folderLeft(PropertyListDictionary folder) override;
  void entryRemoved(PropertyListDictionary entry, RemovalReason reason, PropertyListDictionary survivor) override;
  void entryNamed(PropertyListDictionary entry, std::string_view title) override;
  void entryRenamed(PropertyListDictionary entry, std::string_view before, std::string_view after) override;
  void folderOrdered(PropertyListDictionary folder, PropertyListArray after,
                     std::span<const std::uint32_t> earlierPositions) override;
  void attemptEnded(PropertyListDictionary root, bool didSort) override;

  [[nodiscard]] const Changes& changes() const { return changes_; }

 private:
  /// A folder that cleaning went through, or one that it never enters and that is ordered all the same.
  struct Place {
    std::size_t parent;
    std::string title;
    PropertyListDictionary folder;
    std::optional<FolderPath> path;  ///< Once it was asked for.
  };

  [[nodiscard]] FolderPath pathOf(std::size_t place);
  [[nodiscard]] std::size_t addPlace(std::size_t parent, PropertyListDictionary folder);
  void placeUnentered(PropertyListDictionary folder, std::size_t place);
  void addOrder(FolderPath folder, PropertyListArray after, std::span<const std::uint32_t> earlierPositions);
  [[nodiscard]] bool isTopLevel(std::size_t place) const {
    return places_[place].parent == kNowhere && places_[place].title.empty();
  }
  [[nodiscard]] std::vector<std::uint32_t> earlierPositionsOf(PropertyListArray topLevel) const;
  void orderTopLevel(PropertyListArray after);
  void findReplaced(std::span<const std::uint32_t> earlierPositions);
  void addReplaced(PropertyListDictionary entry, const FolderPath& folder);
  void placeSurvivors();

  OrderDetail detail_;
  Changes changes_;
  PropertyListDictionary root_;
  std::vector<Place> places_;
  /// The folder being cleaned, an index into the places; kNowhere outside.
  std::size_t current_ = kNowhere;
  tsl::robin_map<std::uint32_t, std::size_t> placesByIdentity_;
  /// By the identity of a bookmark that stays: the duplicates of it that were removed.
  tsl::robin_map<std::uint32_t, std::vector<std::size_t>> duplicates_;
  /// The top level's entries as they were read: positions by identity, and those of bar and menu by title.
  tsl::robin_map<std::uint32_t, std::uint32_t> topLevel_;
  tsl::robin_map<std::string, std::uint32_t> fixed_;
  std::size_t topLevelCount_ = 0;

  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);
};

}  // namespace tarvel
