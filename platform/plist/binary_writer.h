#pragma once

#include "platform/property_list.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// Writes the binary format ("bplist00", top object 0, reference and offset widths of 1, 2, 4 or 8 bytes).
///
/// Equal leaves are written once. In a list that was read from a binary file every object keeps its number where that
/// number still exists, and stretches of objects that stay as they are become pieces of the file's own bytes; so a
/// rewrite costs little where little changed, and never grows by what it did not change.
[[nodiscard]] PropertyListWriting writeBinary(const PropertyList& list);

}  // namespace tarvel
