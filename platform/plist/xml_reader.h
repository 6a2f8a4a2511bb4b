#pragma once

#include <cstdint>
#include <span>

#include "platform/plist/text_reading.h"
#include "platform/property_list.h"

namespace tarvel {

/// Reads the XML form into `tree`, copying what it keeps of `bytes`.
///
/// As lenient as the original platform's reader, whose files these are, and no more: no document type, declaration or
/// <plist> is needed, attributes are skipped, nothing after the root is looked at. Nothing outside the file is ever
/// fetched, and no entity can be declared. One pass; time and memory stay in proportion to the file.
[[nodiscard]] TextReading readXml(std::span<const std::uint8_t> bytes, PropertyListTree& tree);

}  // namespace tarvel
