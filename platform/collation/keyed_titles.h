#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/collation/letter_table.h"

namespace tarvel {

/// The titles of one call, with a key for each that a table covers beyond printable ASCII.
class KeyedTitles {
 public:
  static constexpr std::uint32_t kAscii = UINT32_MAX;
  static constexpr std::uint32_t kOther = UINT32_MAX - 1;

  /// Borrows `titles`. A null `table` covers none of them.
  KeyedTitles(std::span<const std::string_view> titles, LetterTable* table);

  /// The titles that the table covers, and the others, as positions among the titles.
  [[nodiscard]] const std::vector<std::uint32_t>& covered() const { return covered_; }
  [[nodiscard]] const std::vector<std::uint32_t>& others() const { return others_; }

  /// The number of the key of title `item`; kAscii for printable ASCII, kOther for a title that is not covered.
  [[nodiscard]] std::uint32_t keyOf(std::uint32_t item) const { return keyOf_[item]; }

  /// All keys, one after the other.
  [[nodiscard]] const std::vector<std::uint8_t>& keys() const { return keys_; }

  /// Where each key starts, and the end of the last.
  [[nodiscard]] const std::vector<std::size_t>& starts() const { return starts_; }

 private:
  std::vector<std::uint32_t> covered_;
  std::vector<std::uint32_t> others_;
  std::vector<std::uint32_t> keyOf_;
  std::vector<std::uint8_t> keys_;
  std::vector<std::size_t> starts_;
};

}  // namespace tarvel
