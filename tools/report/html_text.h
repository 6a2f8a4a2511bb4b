#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// Untrusted text, escaped for an element or for an attribute in double quotes, and made printable() first.
[[nodiscard]] std::string htmlText(std::string_view text);

/// The same in a "bdi" element of a class, so that its direction does not affect the text around it.
[[nodiscard]] std::string isolated(std::string_view text, std::string_view cssClass);

}  // namespace tarvel
