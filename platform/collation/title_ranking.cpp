#include "platform/collation/title_ranking.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>

#include "platform/collation/case_folded_titles.h"
#include "platform/collation/keyed_titles.h"
#include "platform/collation/msd_chunk_sort.h"
#include "platform/collation/prefix_rule.h"
#include "platform/collation/sort_sequences.h"

namespace tarvel {
namespace {

/// Orders titles by ICU's comparison.
class DirectOrder {
 public:
  DirectOrder(const TitleOrder& order, const CaseFoldedTitles& folds) : order_(order), folds_(folds) {}

  /// Titles that are in order already take one comparison each.
  [[nodiscard]] std::vector<Placed> of(const std::vector<std::uint32_t>& titles) {
    std::vector<Placed> placed = placedUpToDescent(titles);
    if (placed.size() == titles.size()) return placed;
    return placedAsTheyAre(insertEach(titles));
  }

 private:
  [[nodiscard]] int compare(std::uint32_t a, std::uint32_t b) {
    return order_.compare(folds_.fold(a, scratchA_), folds_.fold(b, scratchB_));
  }

  /// The first of `titles`, up to one that is not in order.
  [[nodiscard]] std::vector<Placed> placedUpToDescent(const std::vector<std::uint32_t>& titles) {
    std::vector<Placed> placed;
    placed.reserve(titles.size());
    for (const std::uint32_t item : titles) {
      const int order = placed.empty() ? -1 : compare(placed.back().item, item);
      if (order > 0) break;
      append(item, order == 0, placed);
    }
    return placed;
  }

  /// Binary insertion. Terminates even if the comparison is inconsistent.
  [[nodiscard]] std::vector<std::uint32_t> insertEach(const std::vector<std::uint32_t>& titles) {
    std::vector<std::uint32_t> items;
    items.reserve(titles.size());
    for (const std::uint32_t item : titles) {
      const auto place = std::upper_bound(items.begin(), items.end(), item,
                                          [&](std::uint32_t a, std::uint32_t b) { return compare(a, b) < 0; });
      items.insert(place, item);
    }
    return items;
  }

  [[nodiscard]] std::vector<Placed> placedAsTheyAre(const std::vector<std::uint32_t>& items) {
    std::vector<Placed> placed;
    placed.reserve(items.size());
    for (const std::uint32_t item : items) {
      append(item, !placed.empty() && compare(placed.back().item, item) == 0, placed);
    }
    return placed;
  }

  static void append(std::uint32_t item, bool ties, std::vector<Placed>& placed) {
    placed.push_back({item, ties ? placed.back().rank : static_cast<std::uint32_t>(placed.size())});
  }

  const TitleOrder& order_;
  const CaseFoldedTitles& folds_;
  std::u16string scratchA_;
  std::u16string scratchB_;
};

std::vector<Placed> orderBySortKeys(const TitleOrder& order, const CaseFoldedTitles& folds,
                                    const std::vector<std::uint32_t>& items) {
  std::vector<std::uint8_t> keys;
  std::vector<std::size_t> starts{0};
  starts.reserve(items.size() + 1);
  std::u16string scratch;
  for (const std::uint32_t item : items) {
    order.appendSortKey(folds.fold(item, scratch), keys);
    starts.push_back(keys.size());
  }
  std::vector<std::uint32_t> positions(items.size());
  std::iota(positions.begin(), positions.end(), 0U);
  const SortKeySource source(keys, starts);
  std::vector<Placed> placed = MsdChunkSort<SortKeySource>(source).sort(positions);
  for (Placed& entry : placed) entry.item = items[entry.item];
  return placed;
}

/// The ICU order of covered titles, in table order, and the others, in ICU order. Both lists hold ties with equal
/// ranks.
class Merge {
 public:
  Merge(const TitleOrder& order, const CaseFoldedTitles& folds, const std::vector<Placed>& covered)
      : order_(order), folds_(folds), covered_(covered) {}

  [[nodiscard]] std::vector<Placed> with(const std::vector<Placed>& others) {
    merged_.reserve(covered_.size() + others.size());
    std::uint32_t rank = 0;
    for (std::size_t i = 0; i < others.size(); ++i) {
      if (i == 0 || others[i].rank != others[i - 1].rank) rank = placeGroup(others[i].item);
      merged_.push_back({others[i].item, rank});
    }
    moveCovered(covered_.size());
    return std::move(merged_);
  }

 private:
  /// Moves over the covered titles that come before `item` or with it, and answers the rank of `item`.
  std::uint32_t placeGroup(std::uint32_t item) {
    const std::u16string_view fold = folds_.fold(item, scratch_);
    const std::size_t before = firstWhere([&](std::uint32_t covered) { return compare(covered, fold) >= 0; });
    moveCovered(before);
    const auto rank = static_cast<std::uint32_t>(merged_.size());
    if (before < covered_.size() && compare(covered_[before].item, fold) == 0) {
      std::size_t after = before + 1;
      while (after < covered_.size() && covered_[after].rank == covered_[before].rank) ++after;
      moveCovered(after);
    }
    return rank;
  }

  /// Gallops from the covered titles not moved yet, so that two lists of like size cost a few steps per title and a
  /// short list among a long one the logarithm.
  template <typename Predicate>
  [[nodiscard]] std::size_t firstWhere(Predicate predicate) const {
    std::size_t low = next_;
    std::size_t step = 1;
    while (low + step <= covered_.size() && !predicate(covered_[low + step - 1].item)) {
      low += step;
      step *= 2;
    }
    std::size_t high = std::min(low + step - 1, covered_.size());
    while (low < high) {
      const std::size_t middle = low + (high - low) / 2;
      if (predicate(covered_[middle].item)) {
        high = middle;
      } else {
        low = middle + 1;
      }
    }
    return low;
  }

  [[nodiscard]] int compare(std::uint32_t covered, std::u16string_view fold) {
    return order_.compare(folds_.fold(covered, coveredScratch_), fold);
  }

  void moveCovered(std::size_t end) {
    for (; next_ < end; ++next_) {
      const bool ties = next_ > 0 && covered_[next_].rank == covered_[next_ - 1].rank;
      const auto position = static_cast<std::uint32_t>(merged_.size());
      merged_.push_back({covered_[next_].item, ties ? merged_.back().rank : position});
    }
  }

  const TitleOrder& order_;
  const CaseFoldedTitles& folds_;
  const std::vector<Placed>& covered_;
  std::size_t next_ = 0;  // the first covered title not moved yet
  std::vector<Placed> merged_;
  std::u16string scratch_;
  std::u16string coveredScratch_;
};

/// Keys never break the prefix rule among themselves.
std::vector<Placed> orderByTable(const LetterTable& table, std::span<const std::string_view> titles,
                                 const KeyedTitles& keyed) {
  const KeyedSource source(titles, table, keyed);
  return MsdChunkSort<KeyedSource>(source).sort(keyed.covered());
}

std::vector<Placed> orderAscii(const LetterTable& table, std::span<const std::string_view> titles) {
  std::vector<std::uint32_t> items(titles.size());
  std::iota(items.begin(), items.end(), 0U);
  const AsciiSource source(titles, table);
  return MsdChunkSort<AsciiSource>(source).sort(items);
}

std::vector<Placed> orderTitles(TitleOrder& order, LetterTable* table, std::span<const std::string_view> titles) {
  if (table != nullptr && std::all_of(titles.begin(), titles.end(), LetterTable::isPrintableAscii)) {
    return orderAscii(*table, titles);
  }
  const KeyedTitles keyed(titles, table);
  const std::vector<std::uint32_t>& others = keyed.others();
  if (others.empty()) return orderByTable(*table, titles, keyed);

  const CaseFoldedTitles folds(titles, keyed, table, order);
  if (order.collator() == nullptr) {
    const FoldSource source(folds);
    return MsdChunkSort<FoldSource>(source).sort(others);
  }
  std::vector<Placed> placed = others.size() <= kDirectComparisonLimit ? DirectOrder(order, folds).of(others)
                                                                       : orderBySortKeys(order, folds, others);
  if (!keyed.covered().empty()) {
    const std::vector<Placed> covered = orderByTable(*table, titles, keyed);
    placed = Merge(order, folds, covered).with(placed);
  }
  return prefixesFirst(std::move(placed), folds);
}

}  // namespace

std::vector<std::uint32_t> rankTitles(TitleOrder& order, LetterTable* table, std::span<const std::string_view> titles) {
  std::vector<std::uint32_t> ranks(titles.size());
  for (const Placed& entry : orderTitles(order, table, titles)) ranks[entry.item] = entry.rank;
  return ranks;
}

}  // namespace tarvel
