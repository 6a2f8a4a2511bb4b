#pragma once

#include <string>
#include <vector>

namespace tarvel {

/// The known name that is spelled most like `given`; empty when none is close.
[[nodiscard]] std::string closestName(const std::string& given, const std::vector<std::string>& known);

/// "Did you mean “sort”?", or empty when no known name is close.
[[nodiscard]] std::string didYouMean(const std::string& given, const std::vector<std::string>& known);

}  // namespace tarvel
