// The bookmarks file and its nodes: path, lock, date, reading, checks, bar and menu, titles, types, writing.

#include <cerrno>
#include <utility>

#include "document/bookmarks_document.h"
#include "engine/tarvel.h"
#include "engine/value_coercion.h"
#include "platform/path_components.h"
#include "settings/preference_keys.h"

namespace tarvel {

namespace {

constexpr std::int32_t kFirstUnsupportedVersion = 2;
/// Exists beside the bookmarks file while the browser uses it.
constexpr const char* kLockName = "/lock";

PropertyListDictionary firstChildTitled(PropertyListDictionary rootNode, std::string_view title) {
  for (const PropertyListValue child : rootNode.array(kChildrenKey)) {
    if (child.dictionary().string(kTitleKey) == title) return child.dictionary();
  }
  return {};
}

/// Where a node's title is written.
struct TitlePlace {
  PropertyListDictionary dictionary;
  PropertyListKey key;
};

/// Deliberately the reverse of the order in which a title is read: a node with both keeps the title it is read by.
TitlePlace titlePlaceIn(PropertyListDictionary bookmarkNode) {
  const PropertyListDictionary uri = bookmarkNode.dictionary(kURIDictionaryKey);
  if (uri) return {uri, kURITitleKey};
  return {bookmarkNode, kTitleKey};
}

}  // namespace

std::optional<std::string> Tarvel::bookmarksFilename() {
  if (!bookmarksFilename_) setBookmarksFilename(kBookmarksFilenameDefault);
  if (!platform_.fileManager.fileExistsAtPath(*bookmarksFilename_)) return std::nullopt;
  return bookmarksFilename_;
}

void Tarvel::setBookmarksFilename(const std::string& path) {
  bookmarksFilename_ = platform_.fileManager.stringByExpandingTildeInPath(path);
}

bool Tarvel::isBookmarksFileLocked() {
  const std::optional<std::string> path = bookmarksFilename();
  return path && platform_.fileManager.fileExistsAtPath(deletingLastPathComponent(*path) + kLockName);
}

std::optional<FileDate> Tarvel::bookmarksFileModificationDate() {
  const std::optional<std::string> path = bookmarksFilename();
  if (!path) return std::nullopt;
  return platform_.fileManager.modificationDateAtPath(*path);
}

PropertyList Tarvel::bookmarksDictionaryWithFilename(const std::string& filename) {
  std::optional<FileVersion> readVersion;
  return readBookmarks(filename, &readVersion);
}

PropertyList Tarvel::readBookmarks(const std::string& filename, std::optional<FileVersion>* readVersion) {
  BookmarksDocument document(platform_);
  DocumentError error;
  if (!document.readFromURLOfTypeError(filename, "", &error)) {
    if (error.code == ENOMEM) logMemoryShortage(filename);
    return {};
  }
  *readVersion = document.readVersion();
  return document.bookmarksDictionary();
}

bool Tarvel::writeBookmarksToFileWithDictionaryAndFilename(const PropertyList& dictionary,
                                                           const std::string& filename) {
  return writeBookmarks(dictionary, filename, std::nullopt) == TarvelErrorNone;
}

TarvelError Tarvel::writeBookmarks(const PropertyList& dictionary, const std::string& filename,
                                   const std::optional<FileVersion>& readVersion) {
  // A new document always writes the binary format.
  BookmarksDocument document(platform_);
  DocumentError error;
  document.setBookmarksDictionary(dictionary);
  document.setExpectedVersion(readVersion);
  const bool isWritten = document.writeToURLOfTypeError(filename, "plist", &error);
  platform_.workspace.noteFileSystemChanged(deletingLastPathComponent(filename));
  if (isWritten) sortedFileDate_ = document.writtenDate();
  if (isWritten) return TarvelErrorNone;
  if (error.code == ENOMEM) logMemoryShortage(filename);
  return error.code == kFileHasChanged ? TarvelErrorFileInUse : TarvelErrorWriteFailed;
}

bool Tarvel::verifyThatDictionaryIsBookmarksFileRootNode(PropertyListValue dictionary) {
  return dictionary.dictionary().get(kWebBookmarkTypeKey).is(kListTypeName);
}

bool Tarvel::verifyThatDictionaryHasCorrectVersionWithRootNode(PropertyListDictionary rootNode) {
  return intValue(rootNode.get(kWebBookmarkFileVersionKey)) < kFirstUnsupportedVersion;
}

PropertyListDictionary Tarvel::bookmarksBarDictionaryFromBookmarksFileRootNode(PropertyListDictionary rootNode) {
  return firstChildTitled(rootNode, kBookmarksBarTitle);
}

PropertyListDictionary Tarvel::bookmarksMenuDictionaryFromBookmarksFileRootNode(PropertyListDictionary rootNode) {
  return firstChildTitled(rootNode, kBookmarksMenuTitle);
}

PropertyListDictionary Tarvel::bookmarksDictionaryWithRootNodeBookmarksBarAndBookmarksMenu(
    PropertyListDictionary rootNode, PropertyListDictionary bookmarksBar, PropertyListDictionary bookmarksMenu) {
  const PropertyListArray children = rootNode.array(kChildrenKey);
  if (!children) return rootNode;
  bool barPlaced = false;
  bool menuPlaced = false;
  // The scan ends once both are placed. Until then every child with either title is replaced, even a second one.
  for (std::size_t i = 0; i < children.size() && !(barPlaced && menuPlaced); ++i) {
    const auto title = children.at(i).dictionary().string(kTitleKey);
    if (title == kBookmarksBarTitle) {
      if (!bookmarksBar) return {};
      children.replace(i, bookmarksBar.value());
      barPlaced = true;
    } else if (title == kBookmarksMenuTitle) {
      if (!bookmarksMenu) return {};
      children.replace(i, bookmarksMenu.value());
      menuPlaced = true;
    }
  }
  if ((!barPlaced && !bookmarksBar) || (!menuPlaced && !bookmarksMenu)) return {};
  if (!barPlaced) children.append(bookmarksBar.value());
  if (!menuPlaced) children.append(bookmarksMenu.value());
  return rootNode;
}

// Flattened, as both are called for every node: the lookups of constant keys become shorter where they are inlined.
[[gnu::flatten]] std::optional<std::string_view> Tarvel::titleFromBookmarkNode(
    PropertyListDictionary bookmarkNode) const {
  if (const auto title = bookmarkNode.get(kTitleKey).uniqueString()) return title;
  return bookmarkNode.dictionary(kURIDictionaryKey).get(kURITitleKey).uniqueString();
}

void Tarvel::setTitleForBookmarkNode(std::string_view title, PropertyListDictionary bookmarkNode) {
  const TitlePlace place = titlePlaceIn(bookmarkNode);
  place.dictionary.setString(place.key, title);
}

/// Shares the title instead of copying it: any number of untitled bookmarks may refer to one long address.
void Tarvel::setTitleValue(PropertyListValue title, PropertyListDictionary bookmarkNode) {
  const TitlePlace place = titlePlaceIn(bookmarkNode);
  if (place.dictionary.string(place.key) != title.string()) place.dictionary.set(place.key, title);
}

[[gnu::flatten]] BookmarkNodeType Tarvel::typeFromBookmarkNode(PropertyListDictionary bookmarkNode) const {
  const PropertyListValue type = bookmarkNode.get(kWebBookmarkTypeKey);
  if (type.is(kLeafTypeName)) return BookmarkNodeTypeLeaf;
  if (type.is(kListTypeName)) return BookmarkNodeTypeList;
  if (type.is(kProxyTypeName)) return BookmarkNodeTypeProxy;
  return BookmarkNodeTypeNone;
}

}  // namespace tarvel
