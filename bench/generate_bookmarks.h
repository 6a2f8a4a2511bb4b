#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/property_list.h"

namespace tarvel::bench {

/// A bookmarks tree shaped like real ones: proxies, a bar, a menu, folders of 20 to 60 entries, about 290 bytes for
/// each bookmark in the binary form, one title in twelve not ASCII, an identifier on every node. The same arguments
/// give the same tree.
///
/// Shapes: "shuffled", and the growth cases "flat" (one folder), "same-named" (one folder, one title),
/// "identical-addresses", "half-duplicates" (one folder, half of it repeats), "common-prefix" (titles that begin with
/// the same 1,000 characters), "deep" (folders 250 deep, as far as readers go). An unknown shape gives no root.
[[nodiscard]] PropertyList generateBookmarks(std::size_t count, std::uint64_t seed, std::string_view shape);

/// The binary form of a list, as one text.
[[nodiscard]] std::string binaryForm(const PropertyList& list);

}  // namespace tarvel::bench
