#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// A text of somebody else's making as the text of an element or the value of an attribute in double quotes: nothing in
/// it begins a tag, ends a value or names a character. What could hide or turn round what stands beside it is spelled
/// out first, as printable() does.
[[nodiscard]] std::string htmlText(std::string_view text);

/// The same kept from turning the direction of what stands around it: in a "bdi" element of the class given.
[[nodiscard]] std::string isolated(std::string_view text, std::string_view cssClass);

}  // namespace tarvel
