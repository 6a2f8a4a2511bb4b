#include "tools/compare/sort_comparer.h"

#include <vector>

#include "tools/compare/entry_text.h"

namespace tarvel {

namespace {

constexpr PropertyListKey kNumberKey{"TarvelEntryNumber"};

std::size_t numberOf(PropertyListDictionary node) {
  const auto number = node.get(kNumberKey).integer();
  return number ? static_cast<std::size_t>(*number) : kNoEntry;
}

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

}  // namespace

void SortComparer::attemptBegan(PropertyListDictionary root) {
  recorder_.attemptBegan(root);
  comparison_ = {};
  PropertyListTree& owner = *root.value().tree();
  comparison_.before = entryTreeOf(root, [&](PropertyListDictionary node, std::size_t index) {
    node.set(kNumberKey, owner.makeInteger(static_cast<std::int64_t>(index)));
  });
  comparison_.removals.resize(comparison_.before.size());
}

void SortComparer::entryRemoved(PropertyListDictionary entry, RemovalReason reason, PropertyListDictionary survivor) {
  recorder_.entryRemoved(entry, reason, survivor);
  const std::size_t number = numberOf(entry);
  if (number >= comparison_.before.size()) return;
  comparison_.before[number].changes |= kEntryRemoved;
  // Where the survivor is in the earlier tree. Its place in the later one is not known before the end.
  comparison_.removals[number] = {absenceReason(reason), numberOf(survivor)};
}

void SortComparer::entryNamed(PropertyListDictionary entry, std::string_view title) {
  recorder_.entryNamed(entry, title);
  retitle(entry, title, kEntryNamed);
}

void SortComparer::entryRenamed(PropertyListDictionary entry, std::string_view before, std::string_view after) {
  recorder_.entryRenamed(entry, before, after);
  retitle(entry, after, kEntryRenamed);
}

void SortComparer::retitle(PropertyListDictionary entry, std::string_view title, EntryChange change) {
  const std::size_t number = numberOf(entry);
  if (number >= comparison_.before.size()) return;
  comparison_.before[number].changes |= change;
  comparison_.before[number].otherTitle = shortenedText(title);
}

void SortComparer::attemptEnded(PropertyListDictionary root, bool didSort) {
  recorder_.attemptEnded(root, didSort);
  if (didSort && root) {
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
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    // What stands twice now, as a bar that took the place of another one, was there once.
    if (numbers[i] >= before.size() || before[numbers[i]].counterpart != kNoEntry) continue;
    TreeEntry& earlier = before[numbers[i]];
    TreeEntry& later = comparison_.after[i];
    earlier.counterpart = i;
    later.counterpart = numbers[i];
    later.changes = earlier.changes & (kEntryNamed | kEntryRenamed);
    if (later.changes != 0) later.otherTitle = earlier.title;
  }
}

/// What is gone although cleaning left it alone made place for another bar or menu.
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
