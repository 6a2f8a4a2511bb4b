#pragma once

#include <tsl/robin_map.h>
#include <tsl/robin_set.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "engine/bookmark_node.h"
#include "platform/property_list.h"
#include "platform/text/text_hash.h"

namespace tarvel {

/// A set of texts of one property list, compared byte by byte. Must not outlive the list.
struct StringSet : tsl::robin_set<std::string_view, ListTextHash, SameListText, std::allocator<std::string_view>,
                                  /*StoreHash=*/true> {
  using robin_set::robin_set;
};

/// Adds `object` unless the set contains an equal one. Returns whether it was added.
[[nodiscard]] inline bool insertObject(StringSet& set, std::string_view object) { return set.insert(object).second; }

/// Bytes of new titles that one call may still create. Each same-named sibling gets a longer title than the previous
/// one, so the total grows with the square of their number and with the length of the shared title.
class RenamingAllowance {
 public:
  /// Uses up `bytes`; false, and nothing used, if fewer are left.
  [[nodiscard]] bool take(std::size_t bytes) {
    if (bytes > left_) return false;
    left_ -= bytes;
    return true;
  }
  /// True for the first call only.
  [[nodiscard]] bool isFirstRefusal() { return !std::exchange(wasRefused_, true); }

 private:
  /// Enough for about 3,600 siblings titled "News". Sorting their titles takes up to 300 MB of memory, of the agent's
  /// limit of 512 MB.
  std::size_t left_ = std::size_t{32} << 20;
  bool wasRefused_ = false;
};

/// Hash of a bookmark by its address, which must be present.
struct AddressHash {
  std::size_t operator()(PropertyListDictionary bookmark) const {
    return textHash(*bookmark.get(kURLStringKey).uniqueString());
  }

  ListTextHash textHash;
};
/// Equality of bookmarks by their addresses.
struct SameAddress {
  bool operator()(PropertyListDictionary a, PropertyListDictionary b) const {
    return SameListText()(*a.get(kURLStringKey).uniqueString(), *b.get(kURLStringKey).uniqueString());
  }
};

/// The bookmarks of one tree that are kept, each with a different address.
struct BookmarkSet : tsl::robin_set<PropertyListDictionary, AddressHash, SameAddress,
                                    std::allocator<PropertyListDictionary>, /*StoreHash=*/true> {
  using robin_set::robin_set;
};

/// Adds `bookmark` unless the set contains one with the same address. Returns that one, or a null handle if added.
[[nodiscard]] inline PropertyListDictionary insertBookmark(BookmarkSet& set, PropertyListDictionary bookmark) {
  const auto [place, isNew] = set.insert(bookmark);
  return isNew ? PropertyListDictionary() : *place;
}

/// How far the candidates for one title in a folder have been tried.
struct RenamingChain {
  std::uint64_t next = 2;
  std::string_view lastCandidate;
};

/// The titles taken so far by the children of one folder, and the chain of candidates of each shared title.
struct TitleLookupSet {
  StringSet titles;
  tsl::robin_map<std::string_view, RenamingChain, ListTextHash, SameListText> chains;

  TitleLookupSet(std::size_t capacity, const ListTextHash& hash) : titles(capacity, hash), chains(0, hash) {}
};

}  // namespace tarvel
