#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarvel {

// JSON strings of titles, which may contain lone surrogates in browsers. JSON writes these as escapes; property lists
// keep them as three bytes each. JSON libraries refuse or replace them.

/// Decodes the inside of a JSON string, without its quotes. None for an unknown escape. A lone surrogate becomes three
/// bytes, a pair one character.
[[nodiscard]] std::optional<std::string> decodedJsonString(std::string_view escaped);

/// Appends `text` as a JSON string with its quotes. The reverse of decodedJsonString(): three-byte surrogates become
/// escapes, so the result is plain UTF-8.
void appendJsonString(std::string& json, std::string_view text);

}  // namespace tarvel
