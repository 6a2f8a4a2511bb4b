#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/collation/ascii_ranks.h"
#include "platform/collation/title_order.h"
#include "platform/collator.h"

namespace tarvel {

/// How many titles an IcuCollator leaves to ICU before it makes an ASCII table: the proof takes about as long as ICU
/// takes for this many (2 milliseconds), so a small file never pays for it and a large one at most twice.
inline constexpr std::size_t kTitlesWorthATable = 4000;

/// Orders titles with ICU, for one locale.
///
/// ICU is opened by the first call that has two titles to compare, so a process that never sorts does not pay for it
/// (a fraction of a millisecond, some 5 MB), and the ASCII table is made once enough titles have come by to repay its
/// proof. A locale ICU does not know is ordered as the root locale; without any collator titles are ordered by their
/// folded text. Not thread-safe. Work grows as n log n with the number of titles and linearly with their length;
/// memory, beyond some thirty bytes per title, goes only to folders with a title that is not plain ASCII.
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

 private:
  /// The table, or null when it is not worth its proof yet or does not exist for the language.
  [[nodiscard]] const AsciiRanks* tableFor(std::size_t moreTitles);

  std::string locale_;
  CollatorOpener opener_;
  std::unique_ptr<TitleOrder> order_;  // null until opened
  std::size_t titlesSeen_ = 0;
  bool proofTried_ = false;
  std::optional<AsciiRanks> ascii_;
};

}  // namespace tarvel
