#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// Base64 (RFC 4648, section 4), for data in XML.
namespace tarvel {

inline constexpr std::string_view kBase64Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The value of each ASCII character; -1 outside the alphabet, 0 for padding.
inline constexpr std::array<signed char, 128> kBase64Values = [] {
  std::array<signed char, 128> values{};
  values.fill(-1);
  signed char value = 0;
  for (const char digit : kBase64Digits) values[static_cast<unsigned char>(digit)] = value++;
  values['='] = 0;
  return values;
}();

/// Appends `bytes` in Base64, padded.
inline void appendBase64(std::span<const std::uint8_t> bytes, std::string& text) {
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = bytes.size() - i < 3 ? bytes.size() - i : 3;
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) group = group << 8 | (k < count ? bytes[i + k] : 0U);
    for (std::size_t k = 0; k < 4; ++k) text.push_back(k <= count ? kBase64Digits[group >> (18 - 6 * k) & 0x3FU] : '=');
  }
}

}  // namespace tarvel
