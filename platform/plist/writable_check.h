#pragma once

#include <cstdint>
#include <optional>

#include "platform/property_list.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// The first reason, in list order, why the list under `root` cannot be written; none if it can: an absent root, a null
/// or a set, a key that is not a string, a container inside itself. `format` is the number named in the text. Two more
/// for XML:
///
/// - too many repetitions of shared containers, because XML writes each of them out and a few edits can multiply its
///   size;
/// - a date outside the calendar.
///
/// Takes linear time at any depth.
[[nodiscard]] std::optional<PropertyListError> findUnwritable(const PropertyListValue& root, std::uint32_t format);

}  // namespace tarvel
