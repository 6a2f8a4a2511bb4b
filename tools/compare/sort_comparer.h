#pragma once

#include "engine/sort_observer.h"
#include "tools/compare/change_report.h"
#include "tools/compare/tree_comparison.h"

namespace tarvel {

/// Compares the trees before and after a sort, entry by entry, and collects its report on the way.
///
/// Puts a number of its own into every node, by which it knows the node again afterwards whatever its identifier says.
/// So it is for a preview, where nothing of the tree is written.
class SortComparer final : public SortObserver {
 public:
  void attemptBegan(PropertyListDictionary root) override;
  void folderEntered(PropertyListDictionary folder) override { recorder_.folderEntered(folder); }
  void folderLeft(PropertyListDictionary folder) override { recorder_.folderLeft(folder); }
  void entryRemoved(PropertyListDictionary entry, RemovalReason reason, PropertyListDictionary survivor) override;
  void entryNamed(PropertyListDictionary entry, std::string_view title) override;
  void entryRenamed(PropertyListDictionary entry, std::string_view before, std::string_view after) override;
  void folderOrdered(PropertyListDictionary folder, PropertyListArray after,
                     std::span<const std::uint32_t> earlierPositions) override {
    recorder_.folderOrdered(folder, after, earlierPositions);
  }
  void attemptEnded(PropertyListDictionary root, bool didSort) override;

  [[nodiscard]] const Changes& changes() const { return recorder_.changes(); }
  /// Empty unless a sort came to its end. Of a sort that writes nothing the later tree is the earlier one, and what
  /// cleaning found is marked in the earlier one alone.
  [[nodiscard]] const TreeComparison& comparison() const { return comparison_; }

 private:
  void retitle(PropertyListDictionary entry, std::string_view title, EntryChange change);
  void takeLaterTree(PropertyListDictionary root);
  void explainReplaced();

  ChangeRecorder recorder_{OrderDetail::kEntries};
  TreeComparison comparison_;
};

}  // namespace tarvel
