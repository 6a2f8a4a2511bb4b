#pragma once

#include <optional>

#include "platform/property_list.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// What a reader of a text form found.
struct TextReading {
  /// Absent when reading failed.
  PropertyListValue root;
  /// Never set with a root. Without one it may be missing too: the XML reader gives no text for some files that end
  /// too early, and leaves it to the OpenStep reader to say what is wrong.
  std::optional<PropertyListError> error;
};

}  // namespace tarvel
