#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/property_list.h"

namespace tarvel::bench {

/// A bookmarks tree with an identifier on every node, about 290 bytes for each bookmark in the binary format. The same
/// arguments give the same tree. An unknown shape gives no root.
///
/// - "real": the shares of real files. Folders of about 25; of the titles 10 % not ASCII, most of them
///   for one typographic mark; 3 % duplicates, 4 % same-named, 1 % untitled; 20 % with a Sync dictionary; a Reading
///   List.
/// - "shuffled": folders of 20 to 60, one title in twelve with a word of another script.
/// - Growth cases: "flat" (one folder), "same-named" (one folder, one title), "identical-addresses",
///   "half-duplicates" (one folder, half of it repeats), "common-prefix" (titles that begin with the same 1,000
///   characters), "deep" (folders 250 deep, as far as readers go).
[[nodiscard]] PropertyList generateBookmarks(std::size_t count, std::uint64_t seed, std::string_view shape);

/// The binary format of a list, as one text.
[[nodiscard]] std::string binaryForm(const PropertyList& list);

}  // namespace tarvel::bench
