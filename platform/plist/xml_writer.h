#pragma once

#include <optional>

#include "platform/plist/byte_sink.h"
#include "platform/property_list.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// Writes the XML form, byte for byte as the original platform does: tabs, keys in the order of their UTF-16 units,
/// dates in whole seconds, reals in 17 digits. The result refers to nothing of the list.
///
/// The form cannot hold everything: a string ends before half a surrogate pair, and of a date the fraction is lost.
[[nodiscard]] PropertyListWriting writeXml(const PropertyList& list);

/// The same into `sink`, never holding much more than one value. What keeps the list from being written is found before
/// the first byte. The list has a root.
[[nodiscard]] std::optional<PropertyListError> writeXmlTo(const PropertyList& list, const ByteSink& sink);

}  // namespace tarvel
