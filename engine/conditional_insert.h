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
    bookmarks_.push_back(bookmark);
    lastAddress_ = address;
    const auto [place, isNew] = places_.insert(static_cast<std::uint32_t>(bookmarks_.size() - 1));
    if (isNew) return {};
    bookmarks_.pop_back();
    return bookmarks_[*place];
  }

  /// Hashes texts of the same tree. Copies share its cache.
  [[nodiscard]] const ListTextHash& textHash() const { return textHash_; }

 private:
  [[nodiscard]] std::string_view addressAt(std::uint32_t place) const {
    if (place + 1 == bookmarks_.size()) return lastAddress_;
    return *bookmarks_[place].get(kURLStringKey).uniqueString();
  }

  struct AddressHash {
    std::size_t operator()(std::uint32_t place) const { return set->textHash_(set->addressAt(place)); }
    const BookmarkSet* set;
  };
  struct SameAddress {
    bool operator()(std::uint32_t a, std::uint32_t b) const {
      return SameListText()(set->addressAt(a), set->addressAt(b));
    }
    const BookmarkSet* set;
  };

  /// Above the default, to keep the table small: lookups wait for memory.
  static constexpr float kLoad = 0.8F;

  ListTextHash textHash_;
  std::vector<PropertyListDictionary> bookmarks_;
  /// Of the last of these.
  std::string_view lastAddress_;
  tsl::robin_set<std::uint32_t, AddressHash, SameAddress, std::allocator<std::uint32_t>, /*StoreHash=*/true> places_ =
      makePlaces();

  [[nodiscard]] decltype(places_) makePlaces() {
    decltype(places_) places(0, AddressHash{this}, SameAddress{this});
    places.max_load_factor(kLoad);
    return places;
  }
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

  TitleLookupSet(std::size_t capacity, const ListTextHash& hash) : titles(capacity, hash), chains(0, hash) {}
};

}  // namespace tarvel
