#include "platform/collation/title_order.h"

#include <unicode/ucol.h>

#include <cstddef>

namespace tarvel {
namespace {

constexpr const char* kRootLocale = "";

/// False if ICU rejects one of the settings; the collator would then use another order.
bool configure(UCollator* collator) {
  UErrorCode status = U_ZERO_ERROR;
  ucol_setAttribute(collator, UCOL_STRENGTH, UCOL_SECONDARY, &status);
  ucol_setAttribute(collator, UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, &status);
  ucol_setAttribute(collator, UCOL_NUMERIC_COLLATION, UCOL_OFF, &status);
  ucol_setAttribute(collator, UCOL_CASE_LEVEL, UCOL_OFF, &status);
  return U_SUCCESS(status);
}

std::int32_t length32(std::u16string_view text) { return static_cast<std::int32_t>(text.size()); }

}  // namespace

UCollator* openIcuCollator(const char* locale) {
  UErrorCode status = U_ZERO_ERROR;
  UCollator* collator = ucol_open(locale, &status);
  if (U_SUCCESS(status)) return collator;
  if (collator != nullptr) ucol_close(collator);
  return nullptr;
}

void TitleOrder::Closer::operator()(UCollator* collator) const { ucol_close(collator); }

TitleOrder::TitleOrder(const std::string& locale, CollatorOpener opener) : fold_(locale) {
  for (const char* name : {locale.c_str(), kRootLocale}) {
    collator_.reset(opener(name));
    if (collator_ && configure(collator_.get())) return;
  }
  collator_.reset();
}

int TitleOrder::compare(std::u16string_view a, std::u16string_view b) const {
  if (!collator_) return a.compare(b);
  return static_cast<int>(ucol_strcoll(collator_.get(), a.data(), length32(a), b.data(), length32(b)));
}

void TitleOrder::appendSortKey(std::u16string_view fold, std::vector<std::uint8_t>& keys) const {
  const std::size_t start = keys.size();
  std::size_t room = fold.size() * 4 + 16;
  for (int attempt = 0; attempt < 2; ++attempt) {
    keys.resize(start + room);
    const std::int32_t needed = ucol_getSortKey(collator_.get(), fold.data(), length32(fold), keys.data() + start,
                                                static_cast<std::int32_t>(room));
    if (needed <= 0) break;  // out of memory inside ICU: an empty key, which comes first
    const bool fits = static_cast<std::size_t>(needed) <= room;
    room = static_cast<std::size_t>(needed);
    if (fits) {
      keys.resize(start + room - 1);  // without the 0 at its end
      return;
    }
  }
  keys.resize(start);
}

}  // namespace tarvel
