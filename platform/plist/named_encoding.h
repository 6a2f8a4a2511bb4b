#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tarvel {

/// Whether convertNamed() supports the encoding with this IANA name in lower case. A fixed list of stateless encodings;
/// other names in a file never reach iconv.
[[nodiscard]] bool knowsEncoding(std::string_view name);

/// Appends `bytes` to `text` as UTF-8. False if the encoding is not supported or the bytes are invalid in it.
[[nodiscard]] bool convertNamed(std::string_view name, std::span<const std::uint8_t> bytes, std::string& text);

}  // namespace tarvel
