#pragma once

#include <tsl/robin_map.h>
#include <tsl/robin_set.h>
#include <xxhash.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string_view>
#include <utility>

#include "engine/bookmark_node.h"
#include "platform/property_list.h"

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

/// The same for texts of one property list, see PropertyListValue::uniqueString(): a long one is known by where it
/// lies, and hashed once. Copies share what they remember. Dies before the list.
class ListTextHash {
 public:
  std::size_t operator()(std::string_view text) const {
    if (text.size() <= kLongestShortText) return hash_(text);
    const auto [known, isNew] = remembered_->try_emplace(text.data(), Remembered{text.size(), 0});
    // A crafted file can hold two texts of different lengths at one place.
    if (known->second.size != text.size()) return hash_(text);
    if (isNew) known.value().hash = hash_(text);
    return known->second.hash;
  }

 private:
  struct Remembered {
    std::size_t size;
    std::size_t hash;
  };
  using RememberedTexts = tsl::robin_map<const char*, Remembered>;

  KeyedTextHash hash_;
  std::shared_ptr<RememberedTexts> remembered_ = std::make_shared<RememberedTexts>();
};

/// Equality that does not read a text to find it equal to itself.
struct SameListText {
  bool operator()(std::string_view a, std::string_view b) const {
    return a.size() == b.size() && (a.data() == b.data() || a == b);
  }
};

/// A set of texts of one property list, compared byte by byte. Dies before the list.
struct StringSet : tsl::robin_set<std::string_view, ListTextHash, SameListText, std::allocator<std::string_view>,
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

/// Bookmarks are known by their address here, which every one in a set has.
struct AddressHash {
  std::size_t operator()(PropertyListDictionary bookmark) const {
    return textHash(*bookmark.get(kURLStringKey).uniqueString());
  }

  ListTextHash textHash;
};
struct SameAddress {
  bool operator()(PropertyListDictionary a, PropertyListDictionary b) const {
    return SameListText()(*a.get(kURLStringKey).uniqueString(), *b.get(kURLStringKey).uniqueString());
  }
};

/// The bookmarks of one tree that stay, each with an address of its own.
struct BookmarkSet : tsl::robin_set<PropertyListDictionary, AddressHash, SameAddress,
                                    std::allocator<PropertyListDictionary>, /*StoreHash=*/true> {
  using robin_set::robin_set;
};

/// Adds `bookmark` unless one of its address is there: then answers that one, else a null handle.
[[nodiscard]] inline PropertyListDictionary insertBookmark(BookmarkSet& set, PropertyListDictionary bookmark) {
  const auto [place, isNew] = set.insert(bookmark);
  return isNew ? PropertyListDictionary() : *place;
}

/// Where the renaming of one title in a folder stands.
struct RenamingChain {
  std::uint64_t next = 2;
  std::string_view lastCandidate;
};

/// The titles that the children of one folder have so far. Besides the set: for each title that had to be changed, how
/// far its candidates were tried.
struct TitleLookupSet {
  StringSet titles;
  tsl::robin_map<std::string_view, RenamingChain, ListTextHash, SameListText> chains;

  TitleLookupSet(std::size_t capacity, const ListTextHash& hash) : titles(capacity, hash), chains(0, hash) {}
};

}  // namespace tarvel
