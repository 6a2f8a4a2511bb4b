#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/property_list_serialization.h"

namespace tarvel {

/// Reads the elements of XML syntax from a text and keeps the first error.
///
/// A function that returns bool returns false after fail(); stop reading then. The error texts are the original
/// platform's.
class XmlCursor {
 public:
  explicit XmlCursor(std::string_view text) : text_(text) {}

  [[nodiscard]] bool atEnd() const { return at_ >= text_.size(); }
  [[nodiscard]] std::size_t left() const { return text_.size() - at_; }
  [[nodiscard]] std::string_view rest() const { return text_.substr(at_); }
  [[nodiscard]] bool startsWith(std::string_view text) const { return rest().starts_with(text); }
  /// The character here. Not to be called at the end.
  [[nodiscard]] char peek() const { return text_[at_]; }
  void advance(std::size_t count = 1) { at_ += count; }

  [[nodiscard]] std::size_t place() const { return at_; }
  void returnTo(std::size_t place) { at_ = place; }

  void skipSpace();
  /// Also skips Unicode spaces, which are allowed before numbers.
  void skipWideSpace();

  // To be called after "<!--", "<?" and "<!".
  bool skipComment();
  bool skipInstruction();
  bool skipDocumentType();

  struct Tag {
    std::string_view name;
    bool isEmpty;       ///< Self-closing, such as <array/>.
    std::size_t place;  ///< Position of the name.
  };
  /// The tag after "<". None for a malformed tag, with an error, or if the text ends within the tag, without one: the
  /// caller has a better message.
  [[nodiscard]] std::optional<Tag> readTag();
  bool readCloseTag(std::string_view name);

  /// Text up to the next tag, with entities resolved. Valid until the next call.
  bool readText(std::string_view& text);

  /// Sets the error unless one is set.
  bool fail(std::string text);
  /// The same, with the number of the current line between the two texts.
  bool failOnLine(std::string_view before, std::string_view after = {});
  bool failAtEnd() { return fail("Encountered unexpected EOF"); }
  /// The character here as error texts show it: a byte above 0x7F as Latin-1.
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
