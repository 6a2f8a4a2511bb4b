#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/collation/letter_table.h"
#include "platform/collation/title_order.h"
#include "platform/collator.h"

namespace tarvel {

/// How many bytes of titles are worth a table: making one takes about as long as ICU takes for this many (2
/// milliseconds; 4,000 usual titles). It is made once that much is expected to come, or, without a hint, was seen; so a
/// small file never pays for it.
inline constexpr std::size_t kTextWorthATable = 100'000;

/// Orders titles with ICU, for one locale.
///
/// The first call with two titles opens ICU, so a process that never sorts does not pay for it (a fraction of a
/// millisecond, some 5 MB). For more than kTextWorthATable bytes a table of letters does most of the work, with the
/// same result. A locale that ICU does not know is ordered as the root locale; without any collator titles are ordered
/// by their folds. Not thread-safe. Time grows as n log n with the number of titles and linearly with their length.
/// Memory is some thirty bytes per title, and about the size of each title that is not ASCII.
class IcuCollator final : public Collator {
 public:
  /// `locale` is an ICU locale name such as "de_DE"; the empty string is the root locale.
  explicit IcuCollator(std::string locale);

  /// With an opener that stands in for ICU's own, for tests.
  IcuCollator(std::string locale, CollatorOpener opener);

  /// For the language of the user's environment; see collationLocale(). Reads LC_ALL, LC_COLLATE and LANG now.
  [[nodiscard]] static std::unique_ptr<IcuCollator> forEnvironment();

  [[nodiscard]] const std::string& locale() const { return locale_; }

  [[nodiscard]] std::vector<std::uint32_t> rank(std::span<const std::string_view> titles) override;
  void expectTitles(std::size_t count) override;

 private:
  /// What ICU would take for the text to come, in bytes of text that is not in order. As much as was seen is to come at
  /// least, and in order to the same share.
  [[nodiscard]] std::size_t workAhead() const;

  std::string locale_;
  CollatorOpener opener_;
  std::unique_ptr<TitleOrder> order_;  // null until opened
  // Bytes of titles.
  std::size_t textExpected_ = 0;
  std::size_t textSeen_ = 0;
  std::size_t workDone_ = 0;  // the same, where titles that came in order count for less
  bool proofTried_ = false;
  std::optional<LetterTable> table_;
};

}  // namespace tarvel
