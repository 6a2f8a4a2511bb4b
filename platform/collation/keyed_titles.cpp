#include "platform/collation/keyed_titles.h"

namespace tarvel {

KeyedTitles::KeyedTitles(std::span<const std::string_view> titles, LetterTable* table)
    : keyOf_(titles.size(), kAscii), starts_{0} {
  if (table != nullptr) table->extend();
  covered_.reserve(titles.size());
  for (std::uint32_t item = 0; item < titles.size(); ++item) {
    if (table != nullptr && LetterTable::isPrintableAscii(titles[item])) {
      covered_.push_back(item);
    } else if (table != nullptr && table->appendKey(titles[item], keys_)) {
      covered_.push_back(item);
      keyOf_[item] = static_cast<std::uint32_t>(starts_.size() - 1);
      starts_.push_back(keys_.size());
    } else {
      others_.push_back(item);
      keyOf_[item] = kOther;
    }
  }
}

}  // namespace tarvel
