#include "platform/collation/case_folded_titles.h"

#include <algorithm>

#include "platform/collation/common_bytes.h"

namespace tarvel {

CaseFoldedTitles::CaseFoldedTitles(std::span<const std::string_view> titles, const KeyedTitles& keyed,
                                   const LetterTable* table, TitleOrder& order)
    : titles_(titles), table_(table), slots_(titles.size(), kAscii), starts_{0} {
  for (std::uint32_t item = 0; item < titles.size(); ++item) {
    if (keyed.keyOf(item) == KeyedTitles::kAscii) continue;
    slots_[item] = static_cast<std::uint32_t>(starts_.size() - 1);
    order.appendFold(titles[item], units_);
    starts_.push_back(units_.size());
  }
}

std::size_t CaseFoldedTitles::common(std::uint32_t a, std::uint32_t b, std::size_t at, std::size_t limit) const {
  const std::size_t shorter = std::min(length(a), length(b));
  if (shorter <= at) return 0;
  const std::size_t end = at + std::min(shorter - at, limit);
  std::size_t place = at;
  if (slots_[a] == kAscii && slots_[b] == kAscii) {
    place += commonBytes(titles_[a].substr(at, end - at), titles_[b].substr(at, end - at));
  } else if (slots_[a] != kAscii && slots_[b] != kAscii) {
    const char16_t* first = units_.data() + starts_[slots_[a]];
    const char16_t* second = units_.data() + starts_[slots_[b]];
    return static_cast<std::size_t>(std::mismatch(first + at, first + end, second + at).first - first) - at;
  }
  while (place < end && unit(a, place) == unit(b, place)) ++place;
  return place - at;
}

std::u16string_view CaseFoldedTitles::fold(std::uint32_t item, std::u16string& scratch) const {
  const std::size_t slot = slots_[item];
  if (slot != kAscii) {
    return std::u16string_view(units_).substr(starts_[slot], starts_[slot + 1] - starts_[slot]);
  }
  const std::string_view title = titles_[item];
  scratch.resize(title.size());
  std::transform(title.begin(), title.end(), scratch.begin(), [this](char letter) { return table_->fold(letter); });
  return scratch;
}

}  // namespace tarvel
