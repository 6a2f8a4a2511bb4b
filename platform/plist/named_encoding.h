#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tarvel {

/// Whether an encoding of this name, in small letters, can be converted. The names are those of IANA's register. Only
/// encodings that keep no state between characters are on the list, and no name from a file gets past it.
[[nodiscard]] bool knowsEncoding(std::string_view name);

/// Appends `bytes`, in an encoding that is known, to `text` as UTF-8. False when they do not fit the encoding.
[[nodiscard]] bool convertNamed(std::string_view name, std::span<const std::uint8_t> bytes, std::string& text);

}  // namespace tarvel
