#include "document/bookmarks_document.h"

#include <cerrno>
#include <utility>

namespace tarvel {

namespace {

constexpr std::string_view kStatusDomain = "NSOSStatusErrorDomain";
constexpr std::int32_t kUnreadableData = -19;
constexpr std::string_view kFileDomain = "NSPOSIXErrorDomain";
constexpr std::string_view kChangedFileDomain = "TarvelChangedFileErrorDomain";
constexpr std::string_view kPropertyListDomain = "NSCocoaErrorDomain";
constexpr std::int32_t kPropertyListWriteInvalid = 3851;

}  // namespace

std::optional<DataPieces> BookmarksDocument::dataOfTypeError(std::string_view /*typeName*/, DocumentError* error) {
  const auto format = static_cast<std::uint32_t>(propertyListFormat_);
  if (!bookmarksDictionary_.root) {
    *error = {std::string(kPropertyListDomain), kPropertyListWriteInvalid, "There is no property list to write."};
  } else {
    PropertyListWriting writing = platform_.propertyLists.dataWithPropertyList(bookmarksDictionary_, format);
    // The readers differ by one level in the depth they accept. A deeper list could be written but not read again.
    const bool isTooDeep = writing.depth > kDeepestReadable;
    if (!writing.error && !isTooDeep) return std::move(writing.data);
    *error = {std::string(kPropertyListDomain), kPropertyListWriteInvalid,
              isTooDeep ? "The property list is nested too deeply to be read again." : writing.error->description};
  }
  platform_.systemLog.log("Error writing to file: " + error->localizedDescription);
  return std::nullopt;
}

bool BookmarksDocument::readFromDataOfTypeError(const Data& data, std::string_view /*typeName*/, DocumentError* error) {
  PropertyListReading reading = platform_.propertyLists.propertyListFromData(data);
  if (!reading.error) {
    bookmarksDictionary_ = std::move(reading.list);
    propertyListFormat_ = reading.format;
    return true;
  }
  // A failed parser does not set the format, which stays zero.
  platform_.systemLog.log("Error reading plist: " + reading.error->description + ", format: 0");
  *error = {std::string(kStatusDomain), kUnreadableData, reading.error->description};
  return false;
}

bool BookmarksDocument::readFromURLOfTypeError(const std::string& path, std::string_view typeName,
                                               DocumentError* error) {
  const FileReading reading = platform_.fileManager.contentsAtPath(path);
  if (!reading.status.ok()) {
    *error = {std::string(kFileDomain), reading.status.code, reading.status.reason};
    // Other causes are visible in the file system; a limit of this program is not.
    if (reading.status.code == EFBIG) platform_.systemLog.log("Error reading file: " + reading.status.reason);
    return false;
  }
  if (!readFromDataOfTypeError(reading.data, typeName, error)) return false;
  readVersion_ = reading.version;
  return true;
}

bool BookmarksDocument::writeToURLOfTypeError(const std::string& path, std::string_view typeName,
                                              DocumentError* error) {
  const std::optional<DataPieces> data = dataOfTypeError(typeName, error);
  if (!data) return false;
  const FileStatus status = platform_.fileManager.writeDataToPath(*data, path, expectedVersion_, &writtenDate_);
  if (status.ok()) return true;
  const bool hasChanged = status.code == kFileHasChanged;
  *error = {std::string(hasChanged ? kChangedFileDomain : kFileDomain), status.code, status.reason};
  return false;
}

}  // namespace tarvel
