#pragma once

#include <tsl/robin_map.h>
#include <tsl/robin_set.h>
#include <xxhash.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string_view>
#include <utility>

namespace tarvel {

/// Hashes texts with a key drawn at random, so that no file can be prepared whose titles or addresses collide.
struct KeyedTextHash {
  KeyedTextHash() {
    std::random_device random;
    key = std::uint64_t{random()} << 32 | random();
  }
  explicit KeyedTextHash(std::uint64_t sharedKey) : key(sharedKey) {}

  std::size_t operator()(std::string_view text) const { return XXH3_64bits_withSeed(text.data(), text.size(), key); }

  std::uint64_t key;
};

/// A set of texts, compared byte by byte. The texts belong to somebody who outlives the set.
struct StringSet : tsl::robin_set<std::string_view, KeyedTextHash, std::equal_to<>, std::allocator<std::string_view>,
                                  /*StoreHash=*/true> {
  using robin_set::robin_set;
};

/// Adds `object` unless an equal one is there; answers whether it was added.
[[nodiscard]] inline bool insertObject(StringSet& set, std::string_view object) { return set.insert(object).second; }

/// How many bytes of new titles one call may still make: each same-named sibling gets a longer title than the one
/// before, so they grow with the square of the siblings' number and with the length of the title they share.
class RenamingAllowance {
 public:
  /// Takes `bytes` off, or nothing and answers false when there are not as many.
  [[nodiscard]] bool take(std::size_t bytes) {
    if (bytes > left_) return false;
    left_ -= bytes;
    return true;
  }
  /// True once in the life of the allowance.
  [[nodiscard]] bool isFirstRefusal() { return !std::exchange(wasRefused_, true); }

 private:
  /// Enough for some 3,600 "News" in one folder. Sorting those titles takes up to 300 MB of memory; the agent may use
  /// 512.
  std::size_t left_ = std::size_t{32} << 20;
  bool wasRefused_ = false;
};

/// Where the renaming of one title in a folder stands.
struct RenamingChain {
  std::uint64_t next = 2;
  std::string_view lastCandidate;
};

/// The titles that the children of one folder have so far. Besides the set: for each title that had to be changed, how
/// far its candidates were tried.
struct TitleLookupSet {
  StringSet titles;
  tsl::robin_map<std::string_view, RenamingChain, KeyedTextHash> chains;

  TitleLookupSet(std::size_t capacity, const KeyedTextHash& hash) : titles(capacity, hash), chains(0, hash) {}
};

}  // namespace tarvel
