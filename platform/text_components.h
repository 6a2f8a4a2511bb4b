#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarvel {

/// The strings between the separators, always one more than there are separators: empty text has one empty component.
[[nodiscard]] inline std::vector<std::string> componentsSeparatedBy(std::string_view text, char separator) {
  std::vector<std::string> components;
  for (std::size_t begin = 0;;) {
    const std::size_t end = text.find(separator, begin);
    components.emplace_back(text.substr(begin, end - begin));
    if (end == std::string_view::npos) return components;
    begin = end + 1;
  }
}

}  // namespace tarvel
