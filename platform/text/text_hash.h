#pragma once

#include <tsl/robin_map.h>
#include <xxhash.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/property_list.h"
#include "platform/text/random_key.h"

namespace tarvel {

/// Hashes texts with a random key, so that no file can be crafted whose texts collide.
struct KeyedTextHash {
  std::size_t operator()(std::string_view text) const { return XXH3_64bits_withSeed(text.data(), text.size(), key); }

  std::uint64_t key = randomKey();
};

/// The same for texts from PropertyListValue::uniqueString(). The hash of a long text is cached by its address, so that
/// each is read once. Copies share key and cache. Must not outlive the property list.
class ListTextHash {
 public:
  std::size_t operator()(std::string_view text) const {
    if (text.size() <= kLongestShortText) return hash_(text);
    const auto [known, isNew] = cache_->try_emplace(text.data(), CachedHash{text.size(), 0});
    // In a crafted file, two texts of different lengths can begin at the same address.
    if (known->second.size != text.size()) return hash_(text);
    if (isNew) known.value().hash = hash_(text);
    return known->second.hash;
  }

 private:
  struct CachedHash {
    std::size_t size;
    std::size_t hash;
  };
  using Cache = tsl::robin_map<const char*, CachedHash>;

  KeyedTextHash hash_;
  std::shared_ptr<Cache> cache_ = std::make_shared<Cache>();
};

/// Equality that does not read a text to compare it with itself.
struct SameListText {
  bool operator()(std::string_view a, std::string_view b) const {
    return a.size() == b.size() && (a.data() == b.data() || a == b);
  }
};

}  // namespace tarvel
