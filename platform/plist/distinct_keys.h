#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/plist/tree_storage.h"

namespace tarvel {

/// The keys of one dictionary without duplicates.
struct DistinctKeys {
  std::vector<Slot> keys;             ///< Canonical.
  std::vector<std::uint32_t> places;  ///< For each given key, its index in `keys`.

  [[nodiscard]] bool hadDuplicates() const { return keys.size() != places.size(); }
};

[[nodiscard]] DistinctKeys distinctKeys(PropertyListAccess::Storage& storage, std::span<const Slot> keys);

}  // namespace tarvel
