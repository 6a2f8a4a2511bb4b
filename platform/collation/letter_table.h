#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/collation/alphabet.h"
#include "platform/collation/title_order.h"

namespace tarvel {

struct ElementRanks;

/// Orders titles by a table of one language's letters: ICU's result, many times faster.
///
/// The table is made from the installed ICU and contains only letters that are verified to be ordered independently of
/// their neighbours; see docs/decisions/0010-title-order.md. Not thread-safe.
class LetterTable {
 public:
  /// The table for `order`, which it borrows, with printable ASCII. Absent if that cannot be verified.
  [[nodiscard]] static std::optional<LetterTable> make(TitleOrder& order);

  /// Whether `title` is printable ASCII throughout, as "" is. Its key is then the ranks of its characters.
  [[nodiscard]] static bool isPrintableAscii(std::string_view title);

  /// The rank of a printable ASCII character, at least 2. Characters that differ only in case share one.
  [[nodiscard]] std::uint8_t rank(char character) const { return ranks_[static_cast<unsigned char>(character)]; }

  /// The fold of a printable ASCII character: a single unit, in Turkish not always an ASCII one.
  [[nodiscard]] char16_t fold(char character) const { return folds_[static_cast<unsigned char>(character)]; }

  /// Adds marks and letters beyond ASCII, so that appendKey() covers them. Changes ranks. Only the first call has an
  /// effect.
  void extend();

  /// Appends the key of `title`, bytes above 0. Keys compare as the titles do by ICU and by the rule that a title comes
  /// before those it is a prefix of. False, with nothing appended, if the table does not cover the title.
  [[nodiscard]] bool appendKey(std::string_view title, std::vector<std::uint8_t>& keys);

 private:
  /// The most ranks of one level that a letter adds to a key.
  static constexpr std::size_t kMostRanks = 4;

  /// What a letter adds to a key.
  struct LetterRanks {
    std::array<std::uint8_t, kMostRanks> primary{};
    std::array<std::uint8_t, kMostRanks> secondary{};
    std::uint8_t primaries = 0;    // 0 if the letter is not covered
    std::uint8_t secondaries = 0;  // 0 if the letter has no accent
  };

  LetterTable(TitleOrder& order, Alphabet alphabet);

  void assignRanks();
  [[nodiscard]] LetterRanks ranksOf(const Letter& letter, const ElementRanks& elementRanks) const;
  [[nodiscard]] bool appendPrimaries(std::string_view title, std::vector<std::uint8_t>& keys,
                                     std::vector<std::uint8_t>& secondaries);
  [[nodiscard]] bool hasClash(std::string_view title) const;

  TitleOrder* order_;
  Alphabet alphabet_;
  bool isExtended_ = false;
  std::vector<LetterRanks> letterRanks_;  // of each letter of the alphabet
  std::array<std::uint8_t, 128> ranks_{};
  std::array<char16_t, 128> folds_{};
};

}  // namespace tarvel
