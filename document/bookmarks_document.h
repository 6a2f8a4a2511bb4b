#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/platform.h"
#include "platform/property_list.h"

namespace tarvel {

/// What a document reports to its caller about a failure.
struct DocumentError {
  std::string domain;                ///< Whose code it is.
  std::int32_t code = 0;             ///< The domain's number for the failure.
  std::string localizedDescription;  ///< A sentence for people.
};

/// A document whose whole content is one property list. Made for one read or one write, then let go.
///
/// Runs on the calling thread. `platform` is borrowed and outlives the document.
class BookmarksDocument {
 public:
  /// A document without content.
  explicit BookmarksDocument(const Platform& platform) : platform_(platform) {}

  /// Empty, never absent: the document has no interface of its own.
  [[nodiscard]] std::string windowNibName() const { return {}; }
  /// Nothing to prepare: no window is ever shown.
  void windowControllerDidLoadNib(const void* /*windowController*/) {}
  /// Changes go to the file itself, not beside it.
  [[nodiscard]] static bool autosavesInPlace() { return true; }

  /// The content as bytes in the form propertyListFormat(). `typeName` changes nothing. On failure: none, a log line,
  /// and the reason through `error`, which must not be null.
  [[nodiscard]] std::optional<DataPieces> dataOfTypeError(std::string_view typeName, DocumentError* error);

  /// Takes `data`, in any form, as the new content and remembers the form. The root may be any value. On failure:
  /// false, a log line, the reason through `error` (not null), and content and format stay as they were.
  [[nodiscard]] bool readFromDataOfTypeError(const Data& data, std::string_view typeName, DocumentError* error);

  /// The same for a whole file. A file that cannot be read fails without a log line, unless it is too large.
  [[nodiscard]] bool readFromURLOfTypeError(const std::string& path, std::string_view typeName, DocumentError* error);
  /// Serialises and writes the whole file.
  [[nodiscard]] bool writeToURLOfTypeError(const std::string& path, std::string_view typeName, DocumentError* error);

  /// The content; no root before the first reading.
  [[nodiscard]] const PropertyList& bookmarksDictionary() const { return bookmarksDictionary_; }
  /// Shares the tree; nothing is copied.
  void setBookmarksDictionary(const PropertyList& bookmarksDictionary) { bookmarksDictionary_ = bookmarksDictionary; }
  /// The form that was read last, and will be written.
  [[nodiscard]] PropertyListFormat propertyListFormat() const { return propertyListFormat_; }
  /// Writes another form from now on.
  void setPropertyListFormat(PropertyListFormat propertyListFormat) { propertyListFormat_ = propertyListFormat; }
  /// Of the file that was read last with success; none before. A failed read leaves it as it was.
  [[nodiscard]] const std::optional<FileVersion>& readVersion() const { return readVersion_; }
  /// The date that the last write gave to the file; none without one.
  [[nodiscard]] const std::optional<FileDate>& writtenDate() const { return writtenDate_; }
  /// What the file must still be when it is written, else kFileHasChanged. None, as at first: anything.
  void setExpectedVersion(const std::optional<FileVersion>& version) { expectedVersion_ = version; }

 private:
  PropertyList bookmarksDictionary_;
  PropertyListFormat propertyListFormat_ = PropertyListFormat::kBinary;
  std::optional<FileVersion> readVersion_;
  std::optional<FileVersion> expectedVersion_;
  std::optional<FileDate> writtenDate_;
  const Platform& platform_;
};

}  // namespace tarvel
