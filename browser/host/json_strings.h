#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarvel {

// JSON strings for titles, which browsers allow to hold lone surrogates. JSON spells these as escapes; property lists
// keep them as three bytes each. Libraries for JSON refuse or replace them.

/// Decodes the inside of a JSON string, without its quotes. None for an escape that JSON does not know. A lone
/// surrogate becomes its three bytes, a pair the one character.
[[nodiscard]] std::optional<std::string> decodedJsonString(std::string_view escaped);

/// Appends `text` as a JSON string with its quotes. The reverse of decodedJsonString(): three-byte surrogates become
/// escapes, so the result is plain UTF-8.
void appendJsonString(std::string& json, std::string_view text);

}  // namespace tarvel
