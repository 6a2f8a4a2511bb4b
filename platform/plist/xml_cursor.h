#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/property_list_serialization.h"

namespace tarvel {

/// A place in an XML text that moves forwards, the pieces that XML is made of, and the first thing found wrong.
///
/// The functions that answer a bool answer false after fail(); nothing more is read then. The texts of the failures
/// are the original platform's.
class XmlCursor {
 public:
  explicit XmlCursor(std::string_view text) : text_(text) {}

  [[nodiscard]] bool atEnd() const { return at_ >= text_.size(); }
  [[nodiscard]] std::size_t left() const { return text_.size() - at_; }
  [[nodiscard]] std::string_view rest() const { return text_.substr(at_); }
  [[nodiscard]] bool startsWith(std::string_view text) const { return rest().starts_with(text); }
  /// The character here; not at the end.
  [[nodiscard]] char peek() const { return text_[at_]; }
  void advance(std::size_t count = 1) { at_ += count; }

  [[nodiscard]] std::size_t place() const { return at_; }
  void returnTo(std::size_t place) { at_ = place; }

  void skipSpace();
  /// Also the spaces beyond ASCII, which numbers may begin with.
  void skipWideSpace();

  /// Call each of these after the opening characters of what it skips.
  bool skipComment();
  bool skipInstruction();
  bool skipDocumentType();

  struct Tag {
    std::string_view name;
    bool isEmpty;       ///< Closed in itself, with a slash.
    std::size_t place;  ///< Where the name begins.
  };
  /// The tag whose "<" has been read. None when it is malformed, which is a failure, or when the text ends in it,
  /// which is none: what is around it knows better what is missing.
  [[nodiscard]] std::optional<Tag> readTag();
  bool readCloseTag(std::string_view name);

  /// Text up to the next tag, its entities resolved. Valid until the next call.
  bool readText(std::string_view& text);

  /// Makes this the failure. Of several the first counts.
  bool fail(std::string text);
  /// The same with the number of the line that the cursor is in between the two texts.
  bool failOnLine(std::string_view before, std::string_view after = {});
  bool failAtEnd() { return fail("Encountered unexpected EOF"); }
  /// The character here as the failure texts show it: a byte above 0x7F as Latin-1.
  [[nodiscard]] std::string shownCharacter() const;

  [[nodiscard]] const std::optional<PropertyListError>& error() const { return error_; }

 private:
  bool readCdata();
  bool readEntity();
  bool readNumericEntity();

  std::string_view text_;
  std::size_t at_ = 0;
  std::string scratch_;
  std::optional<PropertyListError> error_;
};

}  // namespace tarvel
