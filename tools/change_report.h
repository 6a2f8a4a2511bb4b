#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/sort_observer.h"

namespace tarvel {

/// Where a folder is: the titles from the top level down. Empty for the top level itself.
using FolderPath = std::vector<std::string>;

struct RemovedEntry {
  FolderPath folder;
  std::string title;
  std::string address;  ///< Empty for a folder, and for a bookmark without one.
  RemovalReason reason = RemovalReason::kEmptyFolder;
  /// Of a duplicate: the bookmark that stays.
  std::string keptTitle;
  FolderPath keptFolder;
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
  std::vector<OrderedEntry> entries;

  [[nodiscard]] std::size_t movedCount() const;
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

/// Collects what a sort tells, as texts that outlive the tree.
class ChangeRecorder final : public SortObserver {
 public:
  void attemptBegan(PropertyListDictionary root) override;
  void folderEntered(PropertyListDictionary folder) override;
  void folderLeft(PropertyListDictionary folder) override;
  void entryRemoved(PropertyListDictionary entry, RemovalReason reason) override;
  void addressKept(PropertyListDictionary bookmark) override;
  void entryNamed(PropertyListDictionary entry, std::string_view title) override;
  void entryRenamed(PropertyListDictionary entry, std::string_view before, std::string_view after) override;
  void folderOrdered(PropertyListDictionary folder, PropertyListArray before, PropertyListArray after) override;
  void rootRebuilt(PropertyListDictionary newRoot) override;

  [[nodiscard]] const Changes& changes() const { return changes_; }

 private:
  struct KeptBookmark {
    std::string title;
    FolderPath folder;
  };

  [[nodiscard]] FolderPath currentFolder() const;

  Changes changes_;
  FolderPath path_;
  /// By a folder's identity.
  std::unordered_map<std::uint32_t, FolderPath> paths_;
  /// By address, in the tree being cleaned.
  std::unordered_map<std::string, KeptBookmark> kept_;
  /// What tells the top level's entries apart, as they were read.
  std::vector<std::string> topLevel_;
};

}  // namespace tarvel
