#pragma once

#include <string>

namespace tarvel {

/// Whether two absolute paths lead to one file, be it there or yet to be made: by another spelling, a link, or another
/// name of it.
[[nodiscard]] bool isSameFile(const std::string& first, const std::string& second);

}  // namespace tarvel
