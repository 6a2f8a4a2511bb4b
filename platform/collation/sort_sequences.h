#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/collation/case_folded_titles.h"
#include "platform/collation/common_bytes.h"
#include "platform/collation/keyed_titles.h"
#include "platform/collation/letter_table.h"

namespace tarvel {

/// The sequences MsdChunkSort orders titles by: ranks of ASCII characters, bytes of keys, units of folds. A
/// symbol is never packed as 0, so a chunk whose lowest slot is 0 holds the end of its sequence.

/// Titles in printable ASCII, by the ranks of their characters.
class AsciiSource {
 public:
  static constexpr std::size_t kChunkSymbols = 8;

  AsciiSource(std::span<const std::string_view> titles, const LetterTable& ranks) : titles_(titles), ranks_(ranks) {}

  [[nodiscard]] std::size_t length(std::uint32_t item) const { return titles_[item].size(); }

  [[nodiscard]] std::uint64_t chunk(std::uint32_t item, std::size_t at) const {
    const std::string_view title = titles_[item];
    if (at >= title.size()) return 0;
    const std::string_view rest = title.substr(at);
    std::uint64_t packed = 0;
    if (rest.size() >= kChunkSymbols) {  // a count known in advance is faster
      for (std::size_t i = 0; i < kChunkSymbols; ++i) packed = packed << 8 | ranks_.rank(rest[i]);
      return packed;
    }
    for (const char letter : rest) packed = packed << 8 | ranks_.rank(letter);
    return packed << 8 * (kChunkSymbols - rest.size());
  }

  [[nodiscard]] static bool isLast(std::uint64_t chunk) { return (chunk & 0xFF) == 0; }

  [[nodiscard]] std::size_t common(std::uint32_t a, std::uint32_t b, std::size_t at, std::size_t limit) const {
    const std::string_view first = titles_[a];
    const std::string_view second = titles_[b];
    const std::size_t shorter = std::min(first.size(), second.size());
    const std::size_t most = shorter > at ? std::min(shorter - at, limit) : 0;
    if (most == 0) return 0;
    std::size_t count = commonBytes(first.substr(at, most), second.substr(at, most));
    while (count < most && ranks_.rank(first[at + count]) == ranks_.rank(second[at + count])) ++count;
    return count;
  }

 private:
  std::span<const std::string_view> titles_;
  const LetterTable& ranks_;
};

/// Keys without a byte 0, one after the other. Items are positions among the keys.
class SortKeySource {
 public:
  static constexpr std::size_t kChunkSymbols = 8;

  /// `starts` holds where each key starts, and the end of the last.
  SortKeySource(const std::vector<std::uint8_t>& keys, const std::vector<std::size_t>& starts)
      : keys_(keys), starts_(starts) {}

  [[nodiscard]] std::size_t length(std::uint32_t item) const { return starts_[item + 1] - starts_[item]; }

  [[nodiscard]] std::uint64_t chunk(std::uint32_t item, std::size_t at) const {
    const std::size_t size = length(item);
    if (at >= size) return 0;
    const std::uint8_t* const rest = keys_.data() + starts_[item] + at;
    const std::size_t left = size - at;
    std::uint64_t packed = 0;
    if (left >= kChunkSymbols) {  // a count known in advance is faster
      for (std::size_t i = 0; i < kChunkSymbols; ++i) packed = packed << 8 | rest[i];
      return packed;
    }
    for (std::size_t i = 0; i < left; ++i) packed = packed << 8 | rest[i];
    return packed << 8 * (kChunkSymbols - left);
  }

  [[nodiscard]] static bool isLast(std::uint64_t chunk) { return (chunk & 0xFF) == 0; }

  [[nodiscard]] std::size_t common(std::uint32_t a, std::uint32_t b, std::size_t at, std::size_t limit) const {
    const std::size_t shorter = std::min(length(a), length(b));
    const std::size_t most = shorter > at ? std::min(shorter - at, limit) : 0;
    const std::uint8_t* first = keys_.data() + starts_[a] + at;
    const std::uint8_t* second = keys_.data() + starts_[b] + at;
    return static_cast<std::size_t>(std::mismatch(first, first + most, second).first - first);
  }

 private:
  const std::vector<std::uint8_t>& keys_;
  const std::vector<std::size_t>& starts_;
};

/// Titles that a table covers, by their keys.
class KeyedSource {
 public:
  static constexpr std::size_t kChunkSymbols = 8;

  KeyedSource(std::span<const std::string_view> titles, const LetterTable& table, const KeyedTitles& keyed)
      : ascii_(titles, table), keys_(keyed.keys(), keyed.starts()), keyed_(keyed) {}

  [[nodiscard]] std::size_t length(std::uint32_t item) const {
    return hasKey(item) ? keys_.length(keyed_.keyOf(item)) : ascii_.length(item);
  }

  [[nodiscard]] std::uint64_t chunk(std::uint32_t item, std::size_t at) const {
    return hasKey(item) ? keys_.chunk(keyed_.keyOf(item), at) : ascii_.chunk(item, at);
  }

  [[nodiscard]] static bool isLast(std::uint64_t chunk) { return (chunk & 0xFF) == 0; }

  [[nodiscard]] std::size_t common(std::uint32_t a, std::uint32_t b, std::size_t at, std::size_t limit) const {
    if (hasKey(a) && hasKey(b)) return keys_.common(keyed_.keyOf(a), keyed_.keyOf(b), at, limit);
    if (!hasKey(a) && !hasKey(b)) return ascii_.common(a, b, at, limit);
    const std::size_t shorter = std::min(length(a), length(b));
    const std::size_t most = shorter > at ? std::min(shorter - at, limit) : 0;
    for (std::size_t count = 0; count < most; count += kChunkSymbols) {
      const std::uint64_t difference = chunk(a, at + count) ^ chunk(b, at + count);
      if (difference == 0) continue;
      return std::min(most, count + static_cast<std::size_t>(std::countl_zero(difference)) / 8);
    }
    return most;
  }

 private:
  [[nodiscard]] bool hasKey(std::uint32_t item) const { return keyed_.keyOf(item) != KeyedTitles::kAscii; }

  AsciiSource ascii_;
  SortKeySource keys_;
  const KeyedTitles& keyed_;
};

/// Folds by their UTF-16 units.
class FoldSource {
 public:
  static constexpr std::size_t kChunkSymbols = 3;

  explicit FoldSource(const CaseFoldedTitles& folds) : folds_(folds) {}

  [[nodiscard]] std::size_t length(std::uint32_t item) const { return folds_.length(item); }

  [[nodiscard]] std::uint64_t chunk(std::uint32_t item, std::size_t at) const {
    const std::size_t size = folds_.length(item);
    std::uint64_t packed = 0;
    for (std::size_t i = at; i < at + kChunkSymbols; ++i) {
      packed = packed << 17 | (i < size ? std::uint64_t{folds_.unit(item, i)} + 1 : 0U);
    }
    return packed;
  }

  [[nodiscard]] static bool isLast(std::uint64_t chunk) { return (chunk & 0x1FFFF) == 0; }

  [[nodiscard]] std::size_t common(std::uint32_t a, std::uint32_t b, std::size_t at, std::size_t limit) const {
    return folds_.common(a, b, at, limit);
  }

 private:
  const CaseFoldedTitles& folds_;
};

}  // namespace tarvel
