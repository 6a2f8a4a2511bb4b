#pragma once

#include <tsl/robin_map.h>
#include <tsl/robin_set.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/bookmark_node.h"
#include "platform/property_list.h"
#include "platform/text/text_hash.h"

namespace tarvel {

/// Entries of a hash table per place. Above the default, as lookups wait for memory more than they compare.
inline constexpr float kFullestTable = 0.8F;

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

/// The bookmarks of one tree that are kept, each with a different address. Must not outlive the tree.
class BookmarkSet {
 public:
  BookmarkSet() = default;
  BookmarkSet(const BookmarkSet&) = delete;
  BookmarkSet& operator=(const BookmarkSet&) = delete;

  /// Returns the bookmark with the same address, if there is one. Otherwise adds `bookmark` and returns a null handle.
  /// `address` is that of `bookmark`, from uniqueString().
  [[nodiscard]] PropertyListDictionary insert(PropertyListDictionary bookmark, std::string_view address) {
    newest_ = bookmark.value();
    newestAddress_ = address;
    const auto [same, isNew] = bookmarks_.insert(newest_.identity());
    return isNew ? PropertyListDictionary() : bookmarkWith(*same);
  }

  /// Hashes texts of the same tree. Copies share its cache.
  [[nodiscard]] const ListTextHash& textHash() const { return textHash_; }

 private:
  [[nodiscard]] PropertyListDictionary bookmarkWith(std::uint32_t identity) const {
    return newest_.tree()->containerWith(identity).dictionary();
  }
  [[nodiscard]] std::string_view addressOf(std::uint32_t identity) const {
    if (identity == newest_.identity()) return newestAddress_;
    return *bookmarkWith(identity).get(kURLStringKey).uniqueString();
  }

  struct AddressHash {
    std::size_t operator()(std::uint32_t identity) const { return set->textHash_(set->addressOf(identity)); }
    const BookmarkSet* set;
  };
  struct SameAddress {
    bool operator()(std::uint32_t a, std::uint32_t b) const {
      return SameListText()(set->addressOf(a), set->addressOf(b));
    }
    const BookmarkSet* set;
  };
  /// Identities instead of handles, to keep the table small: lookups wait for memory.
  using Bookmarks = tsl::robin_set<std::uint32_t, AddressHash, SameAddress, std::allocator<std::uint32_t>,
                                   /*StoreHash=*/true>;

  [[nodiscard]] Bookmarks makeBookmarks() {
    Bookmarks bookmarks(0, AddressHash{this}, SameAddress{this});
    bookmarks.max_load_factor(kFullestTable);
    return bookmarks;
  }

  ListTextHash textHash_;
  Bookmarks bookmarks_ = makeBookmarks();
  /// The last that was asked for, and its address, which is known already.
  PropertyListValue newest_;
  std::string_view newestAddress_;
};

/// How far the candidates for one title in a folder have been tried.
struct RenamingChain {
  std::uint64_t next = 2;
  std::string_view lastCandidate;
};

/// The titles taken so far by the children of one folder, and the chain of candidates of each shared title.
struct TitleLookupSet {
  StringSet titles;
  tsl::robin_map<std::string_view, RenamingChain, ListTextHash, SameListText> chains;

  TitleLookupSet(std::size_t capacity, const ListTextHash& hash) : titles(0, hash), chains(0, hash) {
    titles.max_load_factor(kFullestTable);
    titles.reserve(capacity);
  }
};

}  // namespace tarvel
