#pragma once

#include <cstdint>
#include <random>

#include "platform/property_list.h"

namespace tarvel {

/// A bookmarks root with every oddity that files may hold: missing and repeated identifiers, both kinds of titles,
/// values of wrong types, omitted folders, proxies with children, a second bar, names that chain, blank and repeated
/// addresses. Every bookmark has a unique entry "Serial". The same seed gives the same tree.
[[nodiscard]] PropertyList randomBookmarks(std::uint32_t seed);

}  // namespace tarvel
