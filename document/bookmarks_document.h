#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/platform.h"
#include "platform/property_list.h"

namespace tarvel {

/// A failure that a document reports to its caller.
struct DocumentError {
  std::string domain;                ///< The source of the code.
  std::int32_t code = 0;             ///< The error number within the domain.
  std::string localizedDescription;  ///< A sentence for people.
};

/// A document whose content is one property list. Used for one read or one write, then discarded.
///
/// Runs on the calling thread. `platform` is borrowed and outlives the document.
class BookmarksDocument {
 public:
  /// A document without content.
  explicit BookmarksDocument(const Platform& platform) : platform_(platform) {}

  /// Empty, never absent: the document has no user interface.
  [[nodiscard]] std::string windowNibName() const { return {}; }
  /// Does nothing: no window is ever shown.
  void windowControllerDidLoadNib(const void* /*windowController*/) {}
  /// Changes are saved to the file itself.
  [[nodiscard]] static bool autosavesInPlace() { return true; }

  /// Serialises the content in the form propertyListFormat(). `typeName` is ignored. On failure returns none, logs a
  /// line and sets `error`, which must not be null.
  [[nodiscard]] std::optional<DataPieces> dataOfTypeError(std::string_view typeName, DocumentError* error);

  /// Parses `data`, in any form, as the new content and remembers the form. The root may be any value. On failure
  /// returns false, logs a line, sets `error` (not null), and leaves content and format unchanged.
  [[nodiscard]] bool readFromDataOfTypeError(const Data& data, std::string_view typeName, DocumentError* error);

  /// The same for a file. Only a parse error, or a file that is too large, is logged.
  [[nodiscard]] bool readFromURLOfTypeError(const std::string& path, std::string_view typeName, DocumentError* error);
  /// Serialises the content and replaces the file.
  [[nodiscard]] bool writeToURLOfTypeError(const std::string& path, std::string_view typeName, DocumentError* error);

  /// The content. No root before the first read.
  [[nodiscard]] const PropertyList& bookmarksDictionary() const { return bookmarksDictionary_; }
  /// Shares the tree; nothing is copied.
  void setBookmarksDictionary(const PropertyList& bookmarksDictionary) { bookmarksDictionary_ = bookmarksDictionary; }
  /// The form of the last read, and of the next write.
  [[nodiscard]] PropertyListFormat propertyListFormat() const { return propertyListFormat_; }
  /// Sets the form of the next write.
  void setPropertyListFormat(PropertyListFormat propertyListFormat) { propertyListFormat_ = propertyListFormat; }
  /// The version of the last file read successfully; none before.
  [[nodiscard]] const std::optional<FileVersion>& readVersion() const { return readVersion_; }
  /// The modification date set by the last write; none before.
  [[nodiscard]] const std::optional<FileDate>& writtenDate() const { return writtenDate_; }
  /// If the file is no longer this version, a write fails with kFileHasChanged. None, the default: any version.
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
