#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tarvel {

[[nodiscard]] constexpr bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
[[nodiscard]] constexpr bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

/// The bytes as characters. Borrows them.
[[nodiscard]] inline std::string_view textOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};  // NOLINT: bytes read as chars
}

/// Whether every byte is below 0x80.
[[nodiscard]] bool isAscii(std::span<const std::uint8_t> bytes);

enum class ByteOrder : std::uint8_t { kBigEndian, kLittleEndian };

/// Appends UTF-16 as UTF-8. A lone surrogate is encoded as three bytes. An odd last byte is ignored.
void appendUtf8FromUtf16(std::span<const std::uint8_t> utf16, std::string& text,
                         ByteOrder order = ByteOrder::kBigEndian);

/// Bytes of UTF-16 before the first lone surrogate, or all whole units.
[[nodiscard]] std::size_t sizeBeforeLoneSurrogate(std::span<const std::uint8_t> utf16, ByteOrder order);

/// Appends UTF-8 as big-endian UTF-16. Surrogates encoded as three bytes are kept, so two adjacent halves become a
/// pair. Every other malformed byte becomes U+FFFD.
void appendUtf16FromUtf8(std::string_view text, std::string& utf16);

/// Appends one code point (up to U+10FFFF, surrogates included) as UTF-8.
void appendUtf8(char32_t codePoint, std::string& text);

}  // namespace tarvel
