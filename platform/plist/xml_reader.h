#pragma once

#include <cstdint>
#include <span>

#include "platform/plist/text_reading.h"
#include "platform/property_list.h"

namespace tarvel {

/// Reads the XML format into `tree`; keeps no reference to `bytes`.
///
/// As lenient as the original platform's reader: document type, declaration and <plist> are optional, attributes are
/// skipped, anything after the root is ignored. External entities are never fetched, and entities cannot be declared.
/// Time and memory are proportional to the file.
[[nodiscard]] TextReading readXml(std::span<const std::uint8_t> bytes, PropertyListTree& tree);

}  // namespace tarvel
