#include "platform/collation/prefix_rule.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/collation/sort_sequences.h"

namespace tarvel {
namespace {

constexpr std::uint32_t kNone = UINT32_MAX;

/// One fold, however many titles share it.
struct Fold {
  std::uint32_t item;    // one of them
  std::uint32_t parent;  // the longest other fold that is a prefix of this one, or kNone
  std::uint32_t place;   // ICU's rank, later the lowest of the folds that it is a prefix of
  std::uint32_t depth;   // how many folds in the same place are prefixes of it
};

/// In order of units, all folds with a common prefix directly follow that prefix, so the open prefixes form a stack.
void findParents(std::vector<Fold>& sorted, const CaseFoldedTitles& folds) {
  std::uint32_t open = kNone;
  for (std::uint32_t i = 0; i < sorted.size(); ++i) {
    const std::uint32_t item = sorted[i].item;
    while (open != kNone) {
      const std::size_t length = folds.length(sorted[open].item);
      if (folds.common(sorted[open].item, item, 0, length) == length) break;
      open = sorted[open].parent;
    }
    sorted[i].parent = open;
    open = i;
  }
}

/// Whether any fold's place or depth now differs from ICU's order.
bool moveUp(std::vector<Fold>& sorted) {
  bool moved = false;
  for (std::size_t i = sorted.size(); i-- > 0;) {
    if (sorted[i].parent == kNone) continue;
    Fold& parent = sorted[sorted[i].parent];
    moved = moved || sorted[i].place <= parent.place;
    parent.place = std::min(parent.place, sorted[i].place);
  }
  if (!moved) return false;
  for (Fold& fold : sorted) {
    if (fold.parent == kNone) continue;
    const Fold& parent = sorted[fold.parent];
    if (parent.place == fold.place) fold.depth = parent.depth + 1;
  }
  return true;
}

struct Moved {
  std::uint64_t place;  // and depth below it
  std::uint32_t item;
};

std::vector<Placed> ranked(std::vector<Moved> moved) {
  std::sort(moved.begin(), moved.end(), [](const Moved& a, const Moved& b) { return a.place < b.place; });
  std::vector<Placed> placed;
  placed.reserve(moved.size());
  for (std::size_t i = 0; i < moved.size(); ++i) {
    const bool ties = i > 0 && moved[i].place == moved[i - 1].place;
    placed.push_back({moved[i].item, ties ? placed.back().rank : static_cast<std::uint32_t>(i)});
  }
  return placed;
}

}  // namespace

std::vector<Placed> prefixesFirst(std::vector<Placed> placed, const CaseFoldedTitles& folds) {
  std::vector<std::uint32_t> items(placed.size());
  std::vector<std::uint32_t> icuRanks(placed.size());
  for (std::size_t i = 0; i < placed.size(); ++i) {
    items[i] = static_cast<std::uint32_t>(i);
    icuRanks[placed[i].item] = placed[i].rank;
  }
  const FoldSource source(folds);
  const std::vector<Placed> byUnits = MsdChunkSort<FoldSource>(source).sort(items);

  std::vector<Fold> sorted;
  for (std::size_t i = 0; i < byUnits.size(); ++i) {
    const bool repeats = i > 0 && byUnits[i].rank == byUnits[i - 1].rank;
    if (!repeats) sorted.push_back({byUnits[i].item, kNone, icuRanks[byUnits[i].item], 0});
  }
  findParents(sorted, folds);
  if (!moveUp(sorted)) return placed;

  std::vector<Moved> moved;
  moved.reserve(placed.size());
  std::size_t fold = 0;
  for (std::size_t i = 0; i < byUnits.size(); ++i) {
    if (i > 0 && byUnits[i].rank != byUnits[i - 1].rank) ++fold;
    moved.push_back({std::uint64_t{sorted[fold].place} << 32 | sorted[fold].depth, byUnits[i].item});
  }
  return ranked(std::move(moved));
}

}  // namespace tarvel
