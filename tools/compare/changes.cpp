#include "tools/compare/changes.h"

#include <optional>

namespace tarvel {

namespace {

/// Collects the changes. The path of a folder is made once, and shared by the entries in it.
class Collector {
 public:
  Collector(const TreeComparison& comparison, OrderDetail detail)
      : before_(comparison.before),
        after_(comparison.after),
        comparison_(comparison),
        detail_(detail),
        beforePaths_(before_.size()),
        afterPaths_(after_.size()) {}

  Changes collect() {
    for (std::size_t folder = 0; folder < after_.size(); ++folder) order(folder);
    for (std::size_t i = 1; i < before_.size(); ++i) {
      if ((before_[i].changes & kEntryRemoved) != 0) changes_.removed.push_back(removal(i));
      changeTexts(i);
    }
    for (std::size_t i = 1; i < after_.size(); ++i) {
      if ((after_[i].changes & kEntryAdded) == 0) continue;
      changes_.added.push_back({pathIn(after_, i), nameOf(after_[i]), addressBeside(after_[i])});
    }
    count();
    return std::move(changes_);
  }

 private:
  /// Of the folder around an entry.
  const FolderPath& pathIn(const EntryTree& tree, std::size_t entry) {
    auto& known = (&tree == &before_ ? beforePaths_ : afterPaths_)[tree[entry].parent];
    if (!known) known = FolderPath(folderOf(tree, entry));
    return *known;
  }

  /// Not said twice of an entry that has no title.
  static std::string addressBeside(const TreeEntry& entry) { return entry.hasTitle ? entry.address : std::string(); }

  void order(std::size_t folder) {
    OrderedFolder ordered;
    for (std::size_t i = folder + 1; i < after_[folder].end; i = after_[i].end) {
      const bool isMoved = (after_[i].changes & kEntryMoved) != 0;
      if (isMoved) ++ordered.movedCount;
      if (isMoved || detail_ == OrderDetail::kAll) ordered.entries.push_back(orderedEntry(i, isMoved));
    }
    if (ordered.movedCount == 0) return;
    ordered.folder = pathIn(after_, folder + 1);
    changes_.ordered.push_back(std::move(ordered));
  }

  OrderedEntry orderedEntry(std::size_t entry, bool isMoved) {
    OrderedEntry ordered{nameOf(after_[entry]), after_[entry].place + 1, after_[entry].place + 1, isMoved, false, {}};
    if (!isMoved) return ordered;
    const std::size_t earlier = after_[entry].counterpart;
    ordered.earlierPlace = before_[earlier].place + 1;
    ordered.isFromElsewhere = before_[earlier].parent != after_[after_[entry].parent].counterpart;
    if (ordered.isFromElsewhere) ordered.earlierFolder = pathIn(before_, earlier);
    return ordered;
  }

  RemovedEntry removal(std::size_t entry) {
    const Removal& why = comparison_.removals[entry];
    RemovedEntry removed{
        pathIn(before_, entry), nameOf(before_[entry]), addressBeside(before_[entry]), why.reason, {}, {}};
    if (why.kept == kNoEntry) return removed;
    removed.keptTitle = nameOf(after_[why.kept]);
    removed.keptFolder = pathIn(after_, why.kept);
    return removed;
  }

  /// As the entry was: where a sort writes nothing, only the earlier tree is marked.
  void changeTexts(std::size_t entry) {
    const TreeEntry& earlier = before_[entry];
    if ((earlier.changes & (kEntryNamed | kEntryRenamed | kEntryReaddressed)) == 0) return;
    const FolderPath& folder = pathIn(before_, entry);
    if ((earlier.changes & kEntryNamed) != 0) changes_.named.push_back({folder, earlier.otherTitle});
    if ((earlier.changes & kEntryRenamed) != 0) {
      changes_.renamed.push_back({folder, earlier.title, earlier.otherTitle});
    }
    if ((earlier.changes & kEntryReaddressed) != 0) {
      changes_.readdressed.push_back({folder, nameOf(earlier), earlier.address, earlier.otherAddress});
    }
  }

  void count() {
    for (const OrderedFolder& folder : changes_.ordered) changes_.movedCount += folder.movedCount;
    changes_.folderCount = changes_.ordered.size();
    changes_.removedCount = changes_.removed.size();
    changes_.addedCount = changes_.added.size();
    changes_.renamedCount = changes_.renamed.size();
    changes_.namedCount = changes_.named.size();
    changes_.readdressedCount = changes_.readdressed.size();
  }

  const EntryTree& before_;
  const EntryTree& after_;
  const TreeComparison& comparison_;
  OrderDetail detail_;
  std::vector<std::optional<FolderPath>> beforePaths_;
  std::vector<std::optional<FolderPath>> afterPaths_;
  Changes changes_;
};

}  // namespace

bool Changes::isEmpty() const {
  return movedCount + removedCount + addedCount + renamedCount + namedCount + readdressedCount == 0;
}

Changes changesOf(const TreeComparison& comparison, OrderDetail detail) {
  return Collector(comparison, detail).collect();
}

}  // namespace tarvel
