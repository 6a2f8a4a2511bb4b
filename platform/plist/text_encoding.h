#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tarvel {

/// The encoding that a text property list shows by its first bytes.
struct TextEncoding {
  enum class Kind { kUtf8, kUtf16LittleEndian, kUtf16BigEndian, kUtf32LittleEndian, kUtf32BigEndian, kNamed };

  Kind kind = Kind::kUtf8;
  /// How many bytes stand before the text.
  std::size_t markSize = 0;
  /// Of a named encoding: what convertNamed() knows it by.
  std::string name;
  /// Why the encoding cannot be told; empty when it can.
  std::string error;
};

/// Tells the encoding by, in this order: a byte order mark; a zero among the first two bytes, which makes it UTF-16;
/// an XML declaration. Otherwise it is UTF-8.
[[nodiscard]] TextEncoding detectEncoding(std::span<const std::uint8_t> bytes);

/// A text as UTF-8, in the bytes it came from or in its own.
class DecodedText {
 public:
  /// What to do where UTF-16 holds half a surrogate pair.
  enum class Halves {
    kKeep,  ///< As three bytes, as everywhere in a tree.
    kEnd,   ///< The text ends before it.
  };

  /// Borrows `bytes`. UTF-8 is taken as it is, checked or not.
  DecodedText(std::span<const std::uint8_t> bytes, const TextEncoding& encoding, Halves halves);

  /// Whether the bytes could be converted.
  [[nodiscard]] bool isValid() const { return isValid_; }
  [[nodiscard]] std::string_view text() const { return isConverted_ ? std::string_view(converted_) : borrowed_; }

 private:
  void convertUtf16(std::span<const std::uint8_t> bytes, bool littleEndian, Halves halves);
  void convertUtf32(std::span<const std::uint8_t> bytes, bool littleEndian);

  std::string_view borrowed_;
  std::string converted_;
  bool isConverted_ = true;
  bool isValid_ = true;
};

/// Whether `text` is UTF-8 as everybody else understands it: nothing overlong, no halves of surrogate pairs.
[[nodiscard]] bool isWellFormedUtf8(std::string_view text);

}  // namespace tarvel
