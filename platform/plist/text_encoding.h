#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "platform/plist/generalised_text.h"

namespace tarvel {

/// The encoding of a text property list, detected from its first bytes.
struct TextEncoding {
  enum class Kind { kUtf8, kUtf16LittleEndian, kUtf16BigEndian, kUtf32LittleEndian, kUtf32BigEndian, kNamed };

  Kind kind = Kind::kUtf8;
  /// Length of the byte order mark, in bytes.
  std::size_t markSize = 0;
  /// For kNamed: the argument of convertNamed().
  std::string name;
  /// Why detection failed; empty on success.
  std::string error;
};

/// Detects the encoding from, in this order: a byte order mark; a zero among the first two bytes (UTF-16); an XML
/// declaration. Otherwise UTF-8.
[[nodiscard]] TextEncoding detectEncoding(std::span<const std::uint8_t> bytes);

/// A text as UTF-8. Refers to the original bytes if they are UTF-8 already.
class DecodedText {
 public:
  /// How to treat a lone surrogate in UTF-16.
  enum class Halves {
    kKeep,  ///< Encode it as three bytes, like a tree does.
    kEnd,   ///< End the text before it.
  };

  /// Borrows `bytes`. Does not check UTF-8.
  DecodedText(std::span<const std::uint8_t> bytes, const TextEncoding& encoding, Halves halves);

  /// Whether the bytes could be converted.
  [[nodiscard]] bool isValid() const { return isValid_; }
  [[nodiscard]] std::string_view text() const { return isConverted_ ? std::string_view(converted_) : borrowed_; }

 private:
  void convertUtf16(std::span<const std::uint8_t> bytes, ByteOrder order, Halves halves);
  void convertUtf32(std::span<const std::uint8_t> bytes, bool littleEndian);

  std::string_view borrowed_;
  std::string converted_;
  bool isConverted_ = true;
  bool isValid_ = true;
};

/// Whether `text` is strictly valid UTF-8: no overlong forms, no surrogates.
[[nodiscard]] bool isWellFormedUtf8(std::string_view text);

}  // namespace tarvel
