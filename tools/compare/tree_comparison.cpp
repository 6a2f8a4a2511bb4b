#include "tools/compare/tree_comparison.h"

#include <algorithm>

#include "tools/compare/fewest_moves.h"

namespace tarvel {

namespace {

/// Marks the children of one folder of the later tree, and with them their counterparts.
void markChildren(TreeComparison& comparison, std::size_t folder) {
  const std::size_t earlierFolder = comparison.after[folder].counterpart;
  std::vector<std::size_t> stayed;
  std::vector<std::uint32_t> places;
  const auto markMoved = [&](std::size_t index) {
    comparison.after[index].changes |= kEntryMoved;
    comparison.before[comparison.after[index].counterpart].changes |= kEntryMoved;
  };
  for (std::size_t i = folder + 1; i < comparison.after[folder].end; i = comparison.after[i].end) {
    const std::size_t earlier = comparison.after[i].counterpart;
    if (earlier == kNoEntry) {
      comparison.after[i].changes |= kEntryAdded;
    } else if (comparison.before[earlier].parent != earlierFolder) {
      markMoved(i);
    } else {
      stayed.push_back(i);
      places.push_back(static_cast<std::uint32_t>(comparison.before[earlier].place));
    }
  }
  if (std::ranges::is_sorted(places)) return;
  const std::vector<bool> moved = movedEntries(places);
  for (std::size_t i = 0; i < stayed.size(); ++i) {
    if (moved[i]) markMoved(stayed[i]);
  }
}

}  // namespace

std::size_t TreeComparison::count(EntryChange change) const {
  // What was added is in the later tree only; all else is marked in the earlier one.
  const EntryTree& tree = change == kEntryAdded ? after : before;
  return static_cast<std::size_t>(
      std::ranges::count_if(tree, [change](const TreeEntry& entry) { return (entry.changes & change) != 0; }));
}

bool isUnchanged(const TreeComparison& comparison) {
  const auto hasNoChange = [](const TreeEntry& entry) { return entry.changes == 0; };
  return std::ranges::all_of(comparison.before, hasNoChange) && std::ranges::all_of(comparison.after, hasNoChange);
}

void gatherChanges(EntryTree& tree) {
  for (TreeEntry& entry : tree) entry.changesBelow = 0;
  for (std::size_t i = tree.size(); i-- > 1;) {
    TreeEntry& parent = tree[tree[i].parent];
    parent.changesBelow = static_cast<std::uint8_t>(parent.changesBelow | tree[i].changes | tree[i].changesBelow);
  }
}

void markChanges(TreeComparison& comparison) {
  comparison.removals.resize(comparison.before.size());
  // The root is no entry.
  for (std::size_t i = 1; i < comparison.before.size(); ++i) {
    if (comparison.before[i].counterpart == kNoEntry) comparison.before[i].changes |= kEntryRemoved;
  }
  for (std::size_t i = 0; i < comparison.after.size(); ++i) markChildren(comparison, i);
  gatherChanges(comparison.before);
  gatherChanges(comparison.after);
}

}  // namespace tarvel
