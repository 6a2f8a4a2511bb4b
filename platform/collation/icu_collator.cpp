#include "platform/collation/icu_collator.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "platform/collation/collation_locale.h"
#include "platform/collation/title_ranking.h"

namespace tarvel {
namespace {

/// Bytes. A shorter title costs about as much.
constexpr std::size_t kUsualTitle = 25;

std::string_view environmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? std::string_view(value) : std::string_view();
}

}  // namespace

IcuCollator::IcuCollator(std::string locale) : IcuCollator(std::move(locale), openIcuCollator) {}

IcuCollator::IcuCollator(std::string locale, CollatorOpener opener) : locale_(std::move(locale)), opener_(opener) {}

std::unique_ptr<IcuCollator> IcuCollator::forEnvironment() {
  return std::make_unique<IcuCollator>(
      collationLocale(environmentValue("LC_ALL"), environmentValue("LC_COLLATE"), environmentValue("LANG")));
}

std::vector<std::uint32_t> IcuCollator::rank(std::span<const std::string_view> titles) {
  if (titles.size() < 2) return std::vector<std::uint32_t>(titles.size());
  if (!order_) order_ = std::make_unique<TitleOrder>(locale_, opener_);
  return rankTitles(*order_, tableFor(titles), titles);
}

LetterTable* IcuCollator::tableFor(std::span<const std::string_view> titles) {
  if (!proofTried_) {
    for (const std::string_view title : titles) textSeen_ += std::max(title.size(), kUsualTitle);
  }
  if (!proofTried_ && textSeen_ > kTextWorthATable) {
    proofTried_ = true;
    table_ = LetterTable::make(*order_);
  }
  return table_ ? &*table_ : nullptr;
}

}  // namespace tarvel
