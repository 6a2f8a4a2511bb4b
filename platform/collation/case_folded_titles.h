#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/collation/keyed_titles.h"
#include "platform/collation/letter_table.h"
#include "platform/collation/title_order.h"

namespace tarvel {

/// The folds of one call's titles. With a table, printable ASCII is folded unit by unit when needed, because there may
/// be a million such titles; the others are folded once and kept.
class CaseFoldedTitles {
 public:
  /// Borrows everything for its lifetime. `keyed` is of the same titles; `table` is null when there is none.
  CaseFoldedTitles(std::span<const std::string_view> titles, const KeyedTitles& keyed, const LetterTable* table,
                   TitleOrder& order);

  [[nodiscard]] std::size_t length(std::uint32_t item) const {
    const std::size_t slot = slots_[item];
    return slot == kAscii ? titles_[item].size() : starts_[slot + 1] - starts_[slot];
  }

  [[nodiscard]] char16_t unit(std::uint32_t item, std::size_t at) const {
    const std::size_t slot = slots_[item];
    return slot == kAscii ? table_->fold(titles_[item][at]) : units_[starts_[slot] + at];
  }

  /// The length of the common part, at most `limit` units, of the folds of `a` and `b` from unit `at` on.
  [[nodiscard]] std::size_t common(std::uint32_t a, std::uint32_t b, std::size_t at, std::size_t limit) const;

  /// The whole fold, which may be built in `scratch`.
  [[nodiscard]] std::u16string_view fold(std::uint32_t item, std::u16string& scratch) const;

 private:
  static constexpr std::uint32_t kAscii = UINT32_MAX;

  std::span<const std::string_view> titles_;
  const LetterTable* table_;
  std::vector<std::uint32_t> slots_;  // of each title: the number of its fold, or kAscii
  std::u16string units_;
  std::vector<std::size_t> starts_;  // of each fold within units_, and the end of the last
};

}  // namespace tarvel
