#pragma once

#include <cstdint>
#include <optional>

#include "platform/property_list.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// The first fault, in list order, that prevents writing the list under `root`: a null or a set, a key that is not a
/// string, a container inside itself. None if it can be written. `format` is the number named in the text. The XML
/// format has two more faults:
///
/// - too many repetitions of shared containers, each of which XML writes out: a few edits could otherwise unfold to
/// more than any disk holds;
///
/// - a date outside of the calendar.
///
/// An absent root is a fault too. Time is linear in the list, however deep it is.
[[nodiscard]] std::optional<PropertyListError> findUnwritable(const PropertyListValue& root, std::uint32_t format);

}  // namespace tarvel
