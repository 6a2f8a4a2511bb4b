#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/collation/title_fold.h"

struct UCollator;  // ICU's; only this room calls it

namespace tarvel {

/// Opens ICU's collator for a locale, or answers null. Replaceable so that a test can make ICU fail.
using CollatorOpener = UCollator* (*)(const char* locale);

/// The real opener: ucol_open.
[[nodiscard]] UCollator* openIcuCollator(const char* locale);

/// How one language orders folded titles: letters first, then accents; spaces and punctuation count, case does not, and
/// digits are taken one by one.
///
/// A locale that ICU cannot open is ordered as the root locale; when that fails too, folds are compared by their UTF-16
/// units, which keeps "same title", "prefix first" and a stable order, though not the language's alphabet. Not
/// thread-safe.
class TitleOrder {
 public:
  TitleOrder(const std::string& locale, CollatorOpener opener);

  /// ICU's collator, owned by this object; null when only units can be compared.
  [[nodiscard]] const UCollator* collator() const { return collator_.get(); }

  /// Appends the fold of `title` to `fold`.
  void appendFold(std::string_view title, std::u16string& fold) { fold_.append(title, fold); }

  /// Below, at or above 0 as fold `a` comes before, with or after fold `b`. By ICU alone, without the rule that a
  /// prefix comes first.
  [[nodiscard]] int compare(std::u16string_view a, std::u16string_view b) const;

  /// Appends bytes that compare as compare() does and contain no 0. Requires collator().
  void appendSortKey(std::u16string_view fold, std::vector<std::uint8_t>& keys) const;

 private:
  struct Closer {
    void operator()(UCollator* collator) const;
  };

  TitleFold fold_;
  std::unique_ptr<UCollator, Closer> collator_;
};

}  // namespace tarvel
