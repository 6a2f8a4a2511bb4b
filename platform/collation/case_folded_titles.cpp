#include "platform/collation/case_folded_titles.h"

#include <algorithm>

#include "platform/collation/common_bytes.h"

namespace tarvel {

CaseFoldedTitles::CaseFoldedTitles(std::span<const std::string_view> titles, const AsciiRanks* ascii, TitleOrder& order)
    : titles_(titles), ascii_(ascii), slots_(titles.size(), kCovered) {
  starts_.push_back(0);
  for (std::uint32_t item = 0; item < titles.size(); ++item) {
    if (ascii != nullptr && AsciiRanks::covers(titles[item])) {
      covered_.push_back(item);
      continue;
    }
    slots_[item] = static_cast<std::uint32_t>(others_.size());
    others_.push_back(item);
    order.appendFold(titles[item], units_);
    starts_.push_back(units_.size());
  }
}

std::size_t CaseFoldedTitles::common(std::uint32_t a, std::uint32_t b, std::size_t at, std::size_t limit) const {
  const std::size_t shorter = std::min(length(a), length(b));
  if (shorter <= at) return 0;
  const std::size_t end = at + std::min(shorter - at, limit);
  std::size_t place = at;
  if (slots_[a] == kCovered && slots_[b] == kCovered) {
    place += commonBytes(titles_[a].substr(at, end - at), titles_[b].substr(at, end - at));
  } else if (slots_[a] != kCovered && slots_[b] != kCovered) {
    const char16_t* first = units_.data() + starts_[slots_[a]];
    const char16_t* second = units_.data() + starts_[slots_[b]];
    return static_cast<std::size_t>(std::mismatch(first + at, first + end, second + at).first - first) - at;
  }
  while (place < end && unit(a, place) == unit(b, place)) ++place;
  return place - at;
}

std::u16string_view CaseFoldedTitles::fold(std::uint32_t item, std::u16string& scratch) const {
  const std::size_t slot = slots_[item];
  if (slot != kCovered) {
    return std::u16string_view(units_).substr(starts_[slot], starts_[slot + 1] - starts_[slot]);
  }
  const std::string_view title = titles_[item];
  scratch.resize(title.size());
  std::transform(title.begin(), title.end(), scratch.begin(), [this](char letter) { return ascii_->fold(letter); });
  return scratch;
}

}  // namespace tarvel
