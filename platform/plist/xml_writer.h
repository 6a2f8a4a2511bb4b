#pragma once

#include <optional>

#include "platform/plist/text_output.h"
#include "platform/property_list.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// Writes the XML format, byte for byte as the original platform does: tabs, keys in the order of their UTF-16 units,
/// dates in whole seconds, reals with 17 digits. The result does not refer to the list.
///
/// Lossy: a string ends before a lone surrogate, and dates lose their fractions.
[[nodiscard]] PropertyListWriting writeXml(const PropertyList& list);

/// The same into `sink`, with little more than one value in memory. Errors are found before the first byte is written.
/// The list must have a root.
[[nodiscard]] std::optional<PropertyListError> writeXmlTo(const PropertyList& list, const ByteSink& sink);

}  // namespace tarvel
