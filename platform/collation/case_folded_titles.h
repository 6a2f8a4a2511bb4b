#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/collation/ascii_ranks.h"
#include "platform/collation/title_order.h"

namespace tarvel {

/// The folds of one call's titles. Those that a rank table covers are folded unit by unit when asked, because there may
/// be a million of them; the others are folded once and kept.
class CaseFoldedTitles {
 public:
  /// Borrows everything for its lifetime. `ascii` is null when there is no table.
  CaseFoldedTitles(std::span<const std::string_view> titles, const AsciiRanks* ascii, TitleOrder& order);

  /// The titles the table covers and the others, each in the order given, as positions among the titles.
  [[nodiscard]] const std::vector<std::uint32_t>& covered() const { return covered_; }
  [[nodiscard]] const std::vector<std::uint32_t>& others() const { return others_; }

  [[nodiscard]] std::string_view title(std::uint32_t item) const { return titles_[item]; }

  [[nodiscard]] std::size_t length(std::uint32_t item) const {
    const std::size_t slot = slots_[item];
    return slot == kCovered ? titles_[item].size() : starts_[slot + 1] - starts_[slot];
  }

  [[nodiscard]] char16_t unit(std::uint32_t item, std::size_t at) const {
    const std::size_t slot = slots_[item];
    return slot == kCovered ? ascii_->fold(titles_[item][at]) : units_[starts_[slot] + at];
  }

  /// How many units, at most `limit`, the folds of `a` and `b` have alike from unit `at` on.
  [[nodiscard]] std::size_t common(std::uint32_t a, std::uint32_t b, std::size_t at, std::size_t limit) const;

  /// The whole fold, which may be built in `scratch`.
  [[nodiscard]] std::u16string_view fold(std::uint32_t item, std::u16string& scratch) const;

 private:
  static constexpr std::uint32_t kCovered = UINT32_MAX;

  std::span<const std::string_view> titles_;
  const AsciiRanks* ascii_;
  std::vector<std::uint32_t> covered_;
  std::vector<std::uint32_t> others_;
  std::vector<std::uint32_t> slots_;  // of each title: its place among the others, or kCovered
  std::u16string units_;
  std::vector<std::size_t> starts_;  // of the others' folds within units_, and the end of the last
};

}  // namespace tarvel
