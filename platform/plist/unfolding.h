#pragma once

#include "platform/property_list.h"

namespace tarvel {

/// Whether the list comes to text out of proportion in a form without references, which writes a value at each of its
/// places: to more than 1 GiB beyond 16 times the binary file it was read from. A list from elsewhere shares nothing
/// that was not shared by its maker, and is not looked at.
[[nodiscard]] bool unfoldsTooFar(PropertyListValue root);

inline constexpr const char* kUnfoldsTooFar =
    "shared values would come to text out of proportion to the file; the binary form keeps them shared";

}  // namespace tarvel
