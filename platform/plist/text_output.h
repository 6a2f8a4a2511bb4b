#pragma once

#include <functional>
#include <string_view>

#include "platform/property_list.h"

// Shared by writers of text formats, which write a value once per reference to it.
namespace tarvel {

/// Takes output piece by piece. After it returns false, nothing more is written.
using ByteSink = std::function<bool(std::string_view)>;

/// Whether the list is too large for a text format: more than 1 GiB plus 16 times the size of the binary file that it
/// was read from. Other lists are not limited.
[[nodiscard]] bool unfoldsTooFar(PropertyListValue root);

inline constexpr const char* kUnfoldsTooFar =
    "written as text, shared values would be out of proportion to the file; the binary format keeps them shared";

}  // namespace tarvel
