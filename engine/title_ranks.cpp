#include "engine/title_ranks.h"

#include <tsl/robin_map.h>

#include <algorithm>
#include <functional>

#include "platform/property_list.h"

namespace tarvel {

namespace {

/// Finds a text by where it is. In a crafted file, texts of different lengths can begin at the same address.
struct PlaceHash {
  std::size_t operator()(std::string_view text) const { return std::hash<const char*>()(text.data()); }
};
struct SamePlace {
  bool operator()(std::string_view a, std::string_view b) const { return a.data() == b.data() && a.size() == b.size(); }
};

bool isLong(std::string_view title) { return title.size() > kLongestShortText; }

}  // namespace

std::vector<std::uint32_t> ranksOfTitles(std::span<const std::string_view> titles, Collator& collator) {
  if (std::ranges::none_of(titles, isLong)) return collator.rank(titles);
  tsl::robin_map<std::string_view, std::size_t, PlaceHash, SamePlace> known;
  std::vector<std::string_view> distinct;
  std::vector<std::size_t> places;
  for (const std::string_view title : titles) {
    const auto [place, isNew] = known.try_emplace(title, distinct.size());
    if (isNew) distinct.push_back(title);
    places.push_back(place->second);
  }
  const std::vector<std::uint32_t> ranks = collator.rank(distinct);
  std::vector<std::uint32_t> all(titles.size());
  std::ranges::transform(places, all.begin(), [&](std::size_t place) { return ranks[place]; });
  return all;
}

}  // namespace tarvel
