#include "tools/compare/sort_comparer.h"

#include <vector>

#include "tools/compare/entry_text.h"

namespace tarvel {

AbsenceReason absenceReason(RemovalReason reason) {
  switch (reason) {
    case RemovalReason::kEmptyFolder:
      return AbsenceReason::kEmptyFolder;
    case RemovalReason::kNoAddress:
      return AbsenceReason::kNoAddress;
    case RemovalReason::kDuplicate:
      return AbsenceReason::kDuplicate;
  }
  return AbsenceReason::kGone;
}

void SortComparer::attemptBegan(PropertyListDictionary root) {
  comparison_ = {};
  numbers_.clear();
  isOrderChanged_ = false;
  comparison_.before = entryTreeOf(
      root, [&](PropertyListDictionary node, std::size_t index) { numbers_[node.value().identity()] = index; });
  comparison_.removals.resize(comparison_.before.size());
}

void SortComparer::entryRemoved(PropertyListDictionary entry, RemovalReason reason, PropertyListDictionary survivor) {
  const std::size_t number = numberOf(entry);
  if (number >= comparison_.before.size()) return;
  comparison_.before[number].changes |= kEntryRemoved;
  // Where the survivor is in the earlier tree. Its place in the later one is not known before the end.
  comparison_.removals[number] = {absenceReason(reason), numberOf(survivor)};
}

void SortComparer::entryNamed(PropertyListDictionary entry, std::string_view title) {
  retitle(entry, title, kEntryNamed);
}

void SortComparer::entryRenamed(PropertyListDictionary entry, std::string_view /*before*/, std::string_view after) {
  retitle(entry, after, kEntryRenamed);
}

void SortComparer::folderCopied(PropertyListDictionary folder, PropertyListDictionary copy) {
  const std::size_t number = numberOf(folder);
  if (number != kNoEntry && copy) numbers_[copy.value().identity()] = number;
}

std::size_t SortComparer::numberOf(PropertyListDictionary node) const {
  if (!node) return kNoEntry;
  const auto found = numbers_.find(node.value().identity());
  return found == numbers_.end() ? kNoEntry : found->second;
}

void SortComparer::retitle(PropertyListDictionary entry, std::string_view title, EntryChange change) {
  const std::size_t number = numberOf(entry);
  if (number >= comparison_.before.size()) return;
  comparison_.before[number].changes |= change;
  comparison_.before[number].otherTitle = shortenedText(title);
}

void SortComparer::attemptEnded(PropertyListDictionary root, bool didSort) {
  isOrderChanged_ = didSort && root;
  if (isOrderChanged_) {
    takeLaterTree(root);
    markChanges(comparison_);
    explainReplaced();
  } else {
    comparison_.after = comparison_.before;
    for (std::size_t i = 0; i < comparison_.before.size(); ++i) {
      comparison_.before[i].counterpart = i;
      comparison_.after[i].counterpart = i;
      comparison_.after[i].changes = 0;
    }
    gatherChanges(comparison_.before);
  }
  for (Removal& removal : comparison_.removals) {
    if (removal.kept < comparison_.before.size()) removal.kept = comparison_.before[removal.kept].counterpart;
  }
}

void SortComparer::takeLaterTree(PropertyListDictionary root) {
  std::vector<std::size_t> numbers;
  comparison_.after =
      entryTreeOf(root, [&](PropertyListDictionary node, std::size_t) { numbers.push_back(numberOf(node)); });
  EntryTree& before = comparison_.before;
  // The root is copied, too, and is no entry.
  if (!numbers.empty()) numbers.front() = 0;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    // A bar that took the place of another one is in the later tree twice, and was in the earlier one once.
    if (numbers[i] >= before.size() || before[numbers[i]].counterpart != kNoEntry) continue;
    TreeEntry& earlier = before[numbers[i]];
    TreeEntry& later = comparison_.after[i];
    earlier.counterpart = i;
    later.counterpart = numbers[i];
    later.changes = earlier.changes & (kEntryNamed | kEntryRenamed);
    if (later.changes != 0) later.otherTitle = earlier.title;
  }
}

/// An entry that cleaning kept and that is missing was replaced by another bar or menu.
void SortComparer::explainReplaced() {
  for (std::size_t i = 1; i < comparison_.before.size(); ++i) {
    const TreeEntry& entry = comparison_.before[i];
    Removal& removal = comparison_.removals[i];
    if (entry.counterpart == kNoEntry && removal.reason == AbsenceReason::kGone) {
      removal.reason = AbsenceReason::kReplaced;
    }
  }
}

}  // namespace tarvel
