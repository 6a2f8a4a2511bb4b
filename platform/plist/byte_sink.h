#pragma once

#include <functional>
#include <string_view>

namespace tarvel {

/// Takes output piece by piece. Once it answers false, nothing more is written.
using ByteSink = std::function<bool(std::string_view)>;

}  // namespace tarvel
