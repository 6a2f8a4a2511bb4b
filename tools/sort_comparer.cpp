#include "tools/sort_comparer.h"

#include <tsl/robin_map.h>

#include <algorithm>

#include "engine/bookmark_node.h"
#include "engine/conditional_insert.h"
#include "engine/value_coercion.h"
#include "tools/entry_text.h"

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
  static const KeyedTextHash hash;
  recorder_.attemptBegan(root);
  comparison_ = {};
  addresses_.clear();
  hidden_.clear();
  PropertyListTree& owner = *root.value().tree();
  comparison_.before = entryTreeOf(root, [&](PropertyListDictionary node, std::size_t index) {
    node.set(kNumberKey, owner.makeInteger(static_cast<std::int64_t>(index)));
    addresses_.push_back(hash(node.string(kURLStringKey).value_or("")));
    hidden_.push_back(boolValue(node.get(kShouldOmitFromUIKey)));
  });
  comparison_.removals.resize(comparison_.before.size());
}

void SortComparer::entryRemoved(PropertyListDictionary entry, RemovalReason reason) {
  const std::size_t earlier = recorder_.changes().removed.size();
  recorder_.entryRemoved(entry, reason);
  // The root of a tree may be found empty, but it stays, and the recorder knows.
  const std::size_t number = numberOf(entry);
  if (recorder_.changes().removed.size() == earlier || number >= comparison_.before.size()) return;
  comparison_.before[number].changes |= kEntryRemoved;
  comparison_.removals[number].reason = absenceReason(reason);
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
  findKept();
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

std::vector<SortComparer::Search> SortComparer::searchesOfEntries() const {
  const EntryTree& tree = comparison_.before;
  std::vector<Search> searches(tree.size(), Search::kNone);
  bool hasBar = false;
  bool hasMenu = false;
  for (std::size_t top = 1; top < tree.size(); top = tree[top].end) {
    const bool isBar = !hasBar && tree[top].title == kBookmarksBarTitle;
    const bool isMenu = !hasMenu && tree[top].title == kBookmarksMenuTitle;
    const bool isCleaned =
        tree[top].kind == EntryKind::kBookmark || (tree[top].kind == EntryKind::kFolder && !hidden_[top]);
    const bool isSpare = tree[top].title == kBookmarksBarTitle || tree[top].title == kBookmarksMenuTitle;
    Search search = isCleaned && !isSpare ? Search::kTopLevel : Search::kNone;
    if (isBar) search = Search::kBar;
    if (isMenu) search = Search::kMenu;
    hasBar = hasBar || isBar;
    hasMenu = hasMenu || isMenu;
    std::fill(searches.begin() + static_cast<std::ptrdiff_t>(top),
              searches.begin() + static_cast<std::ptrdiff_t>(tree[top].end), search);
  }
  // Cleaning goes into folders only. What else has children keeps them all.
  for (std::size_t i = 1; i < tree.size(); ++i) {
    if (tree[i].kind == EntryKind::kFolder) continue;
    std::fill(searches.begin() + static_cast<std::ptrdiff_t>(i) + 1,
              searches.begin() + static_cast<std::ptrdiff_t>(tree[i].end), Search::kNone);
  }
  return searches;
}

void SortComparer::findKept() {
  const std::vector<Search> searches = searchesOfEntries();
  std::array<tsl::robin_map<std::uint64_t, std::size_t>, 4> stayed;
  const EntryTree& before = comparison_.before;
  for (std::size_t i = 1; i < before.size(); ++i) {
    if (before[i].kind != EntryKind::kBookmark || (before[i].changes & kEntryRemoved) != 0) continue;
    stayed[static_cast<std::size_t>(searches[i])][addresses_[i]] = i;
  }
  for (std::size_t i = 1; i < before.size(); ++i) {
    if (comparison_.removals[i].reason != AbsenceReason::kDuplicate) continue;
    const auto& sameSearch = stayed[static_cast<std::size_t>(searches[i])];
    const auto found = sameSearch.find(addresses_[i]);
    if (found != sameSearch.end()) comparison_.removals[i].kept = before[found->second].counterpart;
  }
}

}  // namespace tarvel
