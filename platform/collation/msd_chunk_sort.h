#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarvel {

/// One item in its place: `rank` counts the items that come strictly before it, so items that tie share it.
struct Placed {
  std::uint32_t item;
  std::uint32_t rank;
};

/// Orders items by their sequences of symbols; a prefix comes before the longer sequence.
///
/// Compares a few symbols at a time, packed into one integer, and goes deeper only among items that are equal so far,
/// after skipping their common prefix in one pass. Each symbol is read a bounded number of times, so a long prefix of a
/// million items costs one pass, not one per comparison. Only integers are compared, so the order is always a strict
/// weak one.
///
/// `Source` provides, for sequences named by items and places counted in symbols:
///   kChunkSymbols: how many symbols one chunk holds;
///   chunk(item, at): the next kChunkSymbols symbols, the first one highest, slots after the end 0;
///   isLast(chunk): whether the sequence ended within that chunk;
///   common(a, b, at, limit): how many symbols, at most `limit`, are equal in both from `at` on;
///   length(item): the length of the sequence.
template <typename Source>
class MsdChunkSort {
 public:
  explicit MsdChunkSort(const Source& source) : source_(source) {}

  /// `items` in order, with their ranks.
  [[nodiscard]] std::vector<Placed> sort(const std::vector<std::uint32_t>& items) {
    entries_.reserve(items.size());
    for (const std::uint32_t item : items) entries_.push_back({0, item});
    if (!entries_.empty() && !areInOrder()) pending_.push_back({0, entries_.size(), 0});
    while (!pending_.empty()) {
      const Range range = pending_.back();
      pending_.pop_back();
      sortRange(range);
    }
    return placed();
  }

 private:
  struct Entry {
    std::uint64_t chunk;  // in a finished range: 1 when the entry ties with the one before it, else 0
    std::uint32_t item;
  };
  struct Range {
    std::size_t begin;
    std::size_t end;
    std::size_t depth;
  };

  /// Whether all items are in order as they came; then also finds the ties. Ends at the first that is not.
  [[nodiscard]] bool areInOrder() {
    std::uint64_t previous = source_.chunk(entries_[0].item, 0);
    for (std::size_t i = 1; i < entries_.size(); ++i) {
      const std::uint64_t chunk = source_.chunk(entries_[i].item, 0);
      if (chunk < previous) return false;
      entries_[i].chunk = 0;
      if (chunk == previous) {
        const int order = Source::isLast(chunk) ? 0 : compare(entries_[i - 1], entries_[i], Source::kChunkSymbols);
        if (order > 0) return false;
        if (order == 0) entries_[i].chunk = 1;
      }
      previous = chunk;
    }
    return true;
  }

  void sortRange(const Range& range) {
    if (range.depth > kDeep) {
      sortByComparing(range);
      return;
    }
    const std::size_t depth = range.depth + sharedByAll(range);
    const auto begin = entries_.begin() + static_cast<std::ptrdiff_t>(range.begin);
    const auto end = entries_.begin() + static_cast<std::ptrdiff_t>(range.end);
    for (auto entry = begin; entry != end; ++entry) entry->chunk = source_.chunk(entry->item, depth);
    std::sort(begin, end, [](const Entry& a, const Entry& b) { return a.chunk < b.chunk; });
    for (std::size_t first = range.begin; first < range.end;) {
      const std::uint64_t chunk = entries_[first].chunk;
      std::size_t last = first + 1;
      while (last < range.end && entries_[last].chunk == chunk) ++last;
      entries_[first].chunk = 0;
      if (last - first > 1) finishOrDescend({first, last, depth + Source::kChunkSymbols}, source_.isLast(chunk));
      first = last;
    }
  }

  /// Below a certain depth whole items are compared. Chunks would visit every item at every length at which another one
  /// ends, which is quadratic for ten thousand items that are each a prefix of the next.
  void sortByComparing(const Range& range) {
    const auto begin = entries_.begin() + static_cast<std::ptrdiff_t>(range.begin);
    const auto end = entries_.begin() + static_cast<std::ptrdiff_t>(range.end);
    const auto isBefore = [this, depth = range.depth](const Entry& a, const Entry& b) {
      return compare(a, b, depth) < 0;
    };
    std::sort(begin, end, isBefore);
    entries_[range.begin].chunk = 0;
    for (std::size_t i = range.begin + 1; i < range.end; ++i) {
      entries_[i].chunk = isBefore(entries_[i - 1], entries_[i]) ? 0 : 1;
    }
  }

  /// Below, at or above 0 as `a` comes before, with or after `b`, of which `depth` symbols are equal.
  [[nodiscard]] int compare(const Entry& a, const Entry& b, std::size_t depth) const {
    const std::size_t length = source_.length(a.item);
    const std::size_t common = length > depth ? source_.common(a.item, b.item, depth, length - depth) : 0;
    const std::uint64_t first = source_.chunk(a.item, depth + common);
    const std::uint64_t second = source_.chunk(b.item, depth + common);
    return first < second ? -1 : first > second ? 1 : 0;
  }

  void finishOrDescend(const Range& range, bool sequencesEnded) {
    if (!sequencesEnded) {
      pending_.push_back(range);
      return;
    }
    for (std::size_t i = range.begin + 1; i < range.end; ++i) entries_[i].chunk = 1;
  }

  [[nodiscard]] std::size_t sharedByAll(const Range& range) const {
    const std::uint32_t first = entries_[range.begin].item;
    const std::size_t length = source_.length(first);
    std::size_t shared = length > range.depth ? length - range.depth : 0;
    for (std::size_t i = range.begin + 1; i < range.end && shared > 0; ++i) {
      shared = source_.common(first, entries_[i].item, range.depth, shared);
    }
    return shared;
  }

  [[nodiscard]] std::vector<Placed> placed() const {
    std::vector<Placed> result;
    result.reserve(entries_.size());
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      const auto rank = entries_[i].chunk == 1 ? result.back().rank : static_cast<std::uint32_t>(i);
      result.push_back({entries_[i].item, rank});
    }
    return result;
  }

  static constexpr std::size_t kDeep = 256;

  const Source& source_;
  std::vector<Entry> entries_;
  std::vector<Range> pending_;
};

}  // namespace tarvel
