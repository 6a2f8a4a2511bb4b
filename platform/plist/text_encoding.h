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
  /// Length of the byte order mark.
  std::size_t markSize = 0;
  /// For a named encoding: the name for convertNamed().
  std::string name;
  /// Why the encoding is unknown; empty if it is known.
  std::string error;
};

/// Detects the encoding from, in this order: a byte order mark; a zero among the first two bytes (UTF-16); an XML
/// declaration. Otherwise UTF-8.
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

/// Whether `text` is strictly valid UTF-8: no overlong forms, no surrogates.
[[nodiscard]] bool isWellFormedUtf8(std::string_view text);

}  // namespace tarvel
