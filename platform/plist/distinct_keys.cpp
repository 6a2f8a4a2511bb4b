#include "platform/plist/distinct_keys.h"

#include <xxhash.h>

#include <algorithm>
#include <cstddef>

namespace tarvel {

namespace {

using Storage = PropertyListAccess::Storage;

/// Dictionaries of ordinary size are compared key by key.
constexpr std::size_t kFewKeys = 16;

struct KeyHash {
  Storage* storage;
  std::size_t operator()(Slot key) const {
    const auto bytes = storage->keyBytes(key);
    return XXH3_64bits_withSeed(bytes.data(), bytes.size(), storage->hashSeed);
  }
};

struct KeyEqual {
  Storage* storage;
  bool operator()(Slot a, Slot b) const { return storage->sameKey(a, b); }
};

DistinctKeys distinctFewKeys(Storage& storage, std::span<const Slot> keys) {
  DistinctKeys distinct;
  distinct.keys.reserve(keys.size());
  distinct.places.reserve(keys.size());
  for (const Slot key : keys) {
    const auto known = std::ranges::find_if(distinct.keys, [&](Slot earlier) { return storage.sameKey(earlier, key); });
    distinct.places.push_back(static_cast<std::uint32_t>(known - distinct.keys.begin()));
    if (known == distinct.keys.end()) distinct.keys.push_back(key);
  }
  return distinct;
}

}  // namespace

DistinctKeys distinctKeys(Storage& storage, std::span<const Slot> keys) {
  if (keys.size() <= kFewKeys) return distinctFewKeys(storage, keys);
  DistinctKeys distinct;
  tsl::robin_map<Slot, std::uint32_t, KeyHash, KeyEqual> known(keys.size(), KeyHash{&storage}, KeyEqual{&storage});
  for (const Slot key : keys) {
    const auto [place, isNew] = known.emplace(key, static_cast<std::uint32_t>(distinct.keys.size()));
    if (isNew) distinct.keys.push_back(key);
    distinct.places.push_back(place->second);
  }
  return distinct;
}

}  // namespace tarvel
