#pragma once

#include <tsl/robin_map.h>

#include <cstdint>

#include "engine/sort_observer.h"
#include "tools/compare/tree_comparison.h"

namespace tarvel {

/// Compares the trees before and after a sort, entry by entry. Takes time and memory in proportion to the whole tree;
/// where the counts are enough, use ChangeRecorder.
class SortComparer final : public SortObserver {
 public:
  void attemptBegan(PropertyListDictionary root) override;
  void entryRemoved(PropertyListDictionary entry, RemovalReason reason, PropertyListDictionary survivor) override;
  void entryNamed(PropertyListDictionary entry, std::string_view title) override;
  void entryRenamed(PropertyListDictionary entry, std::string_view before, std::string_view after) override;
  void folderCopied(PropertyListDictionary folder, PropertyListDictionary copy) override;
  void attemptEnded(PropertyListDictionary root, bool didSort) override;

  /// Whether there is a new order to write.
  [[nodiscard]] bool isOrderChanged() const { return isOrderChanged_; }
  /// Empty unless a sort came to its end. Of a sort that writes nothing the later tree is the earlier one, and what
  /// cleaning found is marked in the earlier one alone.
  [[nodiscard]] const TreeComparison& comparison() const { return comparison_; }

 private:
  [[nodiscard]] std::size_t numberOf(PropertyListDictionary node) const;
  void retitle(PropertyListDictionary entry, std::string_view title, EntryChange change);
  void takeLaterTree(PropertyListDictionary root);
  void explainReplaced();

  TreeComparison comparison_;
  /// The earlier tree's entries by node, and by the copies that took a node's place.
  tsl::robin_map<std::uint32_t, std::size_t> numbers_;
  bool isOrderChanged_ = false;
};

/// The word for a removal that a sort reports.
[[nodiscard]] AbsenceReason absenceReason(RemovalReason reason);

}  // namespace tarvel
