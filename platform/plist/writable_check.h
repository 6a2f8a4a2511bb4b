#pragma once

#include <cstdint>
#include <optional>

#include "platform/property_list.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// What the first fault is that keeps the list under `root` from being written, in the order of the list: a null or a
/// set, a key that is no string, a container inside itself. None when it can be written. `format` is the number the
/// text names; for the XML form two more faults are looked for:
/// - a container that stands in several places is written out at each of them, so too many of these are refused, lest
///   a few edits unfold to more than any disk holds;
/// - a date that no calendar date can tell.
///
/// An absent root is a fault too. Time is linear in the list, however deep it is.
[[nodiscard]] std::optional<PropertyListError> findUnwritable(const PropertyListValue& root, std::uint32_t format);

}  // namespace tarvel
