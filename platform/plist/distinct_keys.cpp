#include "platform/plist/distinct_keys.h"

#include <algorithm>
#include <cstddef>

namespace tarvel {

namespace {

/// Up to this many keys, a linear search is faster than a hash table.
constexpr std::size_t kFewKeys = 16;

}  // namespace

DistinctKeys distinctKeys(PropertyListAccess::Storage& storage, std::span<const Slot> keys) {
  DistinctKeys distinct;
  distinct.keys.reserve(keys.size());
  distinct.places.reserve(keys.size());
  tsl::robin_map<Slot, std::uint32_t> known;
  for (const Slot key : keys) {
    const Slot canonical = storage.canonicalKey(key);
    auto place = static_cast<std::uint32_t>(distinct.keys.size());
    if (keys.size() <= kFewKeys) {
      place = static_cast<std::uint32_t>(std::ranges::find(distinct.keys, canonical) - distinct.keys.begin());
    } else {
      place = known.emplace(canonical, place).first->second;
    }
    distinct.places.push_back(place);
    if (place == distinct.keys.size()) distinct.keys.push_back(canonical);
  }
  return distinct;
}

}  // namespace tarvel
