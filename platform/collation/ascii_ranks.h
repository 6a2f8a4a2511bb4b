#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tarvel {

class TitleOrder;

/// The printable ASCII characters in one language's order, for titles made of nothing else.
///
/// In most languages such titles compare letter by letter, and a table does it more than ten times faster than ICU. A
/// table exists only where that has been proven for the collator at hand; see docs/decisions/0010-title-order.md.
class AsciiRanks {
 public:
  /// The table for `order`; none if its language treats some group of ASCII characters as one letter (Czech "ch"), or
  /// without an ICU collator.
  [[nodiscard]] static std::optional<AsciiRanks> prove(TitleOrder& order);

  /// Whether `title` holds printable ASCII only, so that the table may be used for it. The empty title is one such.
  [[nodiscard]] static bool covers(std::string_view title);

  /// From 1; characters that differ in case only share a rank. `character` is printable ASCII.
  [[nodiscard]] std::uint8_t rank(char character) const { return ranks_[static_cast<unsigned char>(character)]; }

  /// What `character` folds to, always a single unit (in Turkish not always an ASCII one).
  [[nodiscard]] char16_t fold(char character) const { return folds_[static_cast<unsigned char>(character)]; }

 private:
  AsciiRanks() = default;

  [[nodiscard]] bool readFolds(TitleOrder& order);
  [[nodiscard]] bool readRanks(const TitleOrder& order);

  std::array<std::uint8_t, 128> ranks_{};
  std::array<char16_t, 128> folds_{};
};

}  // namespace tarvel
