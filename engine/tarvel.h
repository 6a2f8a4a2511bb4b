#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/bookmark_node.h"
#include "engine/sort_observer.h"
#include "platform/platform.h"
#include "platform/property_list.h"

namespace tarvel {

// Working sets of cleaning; see engine/conditional_insert.h.
class RenamingAllowance;
struct BookmarkSet;
struct TitleLookupSet;

/// How an operation ended. The engine gives 0 to 8; codes from 10 up belong to the agent.
enum TarvelError : std::int32_t {
  TarvelErrorNone = 0,                   ///< Done, or nothing to do.
  TarvelErrorBookmarksFileNotFound = 1,  ///< Sorting: no bookmarks file. Restoring: no backup.
  TarvelErrorOutputFileNotFound = 2,     ///< Restoring: no bookmarks file.
  TarvelErrorNotBookmarksFile = 3,       ///< The root is no bookmarks root, or lacks a bar or a menu to put back.
  TarvelErrorUnknownVersion = 4,
  TarvelErrorReadFailed = 5,
  TarvelErrorWriteFailed = 6,
  TarvelErrorBackupFailed = 7,
  TarvelErrorFileInUse = 8,  ///< The file was locked, or changed, during every attempt.
};

/// Sorts one bookmarks file. Configure a fresh instance, run one operation, let it go.
///
/// Runs on the calling thread; nothing here locks, throws or starts a thread. While the browser holds the file, an
/// operation sleeps in steps of 0.3 seconds, at most 10 of them. `platform` is borrowed and outlives the instance.
class Tarvel {
 public:
  /// With every option off, for the browser's own file.
  explicit Tarvel(const Platform& platform) : platform_(platform) {}

  // Options, all off in a new instance.

  /// Folders before bookmarks in every folder.
  [[nodiscard]] bool arrangeFoldersAtTop() const { return arrangeFoldersAtTop_; }
  void setArrangeFoldersAtTop(bool arrangeFoldersAtTop) { arrangeFoldersAtTop_ = arrangeFoldersAtTop; }  ///< Sets it.
  /// Drop bookmarks whose address comes again later in the same tree.
  [[nodiscard]] bool removeDuplicates() const { return removeDuplicates_; }
  void setRemoveDuplicates(bool removeDuplicates) { removeDuplicates_ = removeDuplicates; }  ///< Sets it.
  /// Give same-named siblings distinct titles.
  [[nodiscard]] bool renameSamenamed() const { return renameSamenamed_; }
  void setRenameSamenamed(bool renameSamenamed) { renameSamenamed_ = renameSamenamed; }  ///< Sets it.
  /// Order the bookmarks bar too, and every other folder titled "BookmarksBar".
  [[nodiscard]] bool sortBookmarksBar() const { return sortBookmarksBar_; }
  void setSortBookmarksBar(bool sortBookmarksBar) { sortBookmarksBar_ = sortBookmarksBar; }  ///< Sets it.
  /// Back the file up before writing, unless a backup exists.
  [[nodiscard]] bool writeBackupFile() const { return writeBackupFile_; }
  void setWriteBackupFile(bool writeBackupFile) { writeBackupFile_ = writeBackupFile; }  ///< Sets it.

  // Paths.

  /// The stored path (by default the browser's own file) while something exists there, else none. Asked anew each time.
  [[nodiscard]] std::optional<std::string> bookmarksFilename();
  /// Expands a leading tilde.
  void setBookmarksFilename(const std::string& path);
  /// The stored path. When none was set: the bookmarks path with ".bak", from then on kept; none while there is no
  /// bookmarks file to derive it from.
  [[nodiscard]] std::optional<std::string> backupFilename();
  void setBackupFilename(const std::string& path);  ///< Expands a leading tilde.

  /// Told what a sort does; null, the default, for none. Borrowed.
  void setSortObserver(SortObserver* sortObserver) {
    sortObserver_ = sortObserver != nullptr ? sortObserver : &noSortObserver;
  }
  /// The same for how far it has come.
  void setStageObserver(StageObserver* stageObserver) {
    stageObserver_ = stageObserver != nullptr ? stageObserver : &noStageObserver;
  }

  // Whole operations.

  /// The file of bookmarksFilename(). A sort that the stage observer stopped answers TarvelErrorNone, too.
  [[nodiscard]] TarvelError sortBookmarks();
  /// Whether the stage observer stopped the sort, which then wrote nothing.
  [[nodiscard]] bool wasStopped() const { return isStopped_; }
  [[nodiscard]] TarvelError sortBookmarksInFileWithName(const std::string& path);  ///< Sets the path.
  /// In the shape of a service handler: `pasteboard` and `userData` are ignored; on failure the short message goes
  /// through `error`, which must not be null and is left alone on success.
  void sortBookmarksUserDataError(const void* pasteboard, const std::string& userData, std::string* error);
  /// Puts the backup in place of the bookmarks file; afterwards there is no backup.
  [[nodiscard]] TarvelError restoreBackedUpBookmarks();

  /// The date of the file as the last successful sort left it: of its own write, or as it was read when there was
  /// nothing to write. Another date found later is a concurrent change. None before a success.
  [[nodiscard]] const std::optional<FileDate>& sortedFileDate() const { return sortedFileDate_; }

  // Codes and messages.

  /// Whether a code, taken as unsigned, is one of the engine's range: below 10.
  [[nodiscard]] static bool isTarvelError(std::uint64_t code);
  /// The short message. Every code but 1 to 8 gives the text for success, deliberately.
  [[nodiscard]] static std::string stringFromTarvelError(Bundle& bundle, std::int32_t error);
  /// The long message. Code 2 has none of its own and gives the text for an unknown error, deliberately.
  [[nodiscard]] static std::string stringFromTarvelErrorAndFilename(Bundle& bundle, std::int32_t error,
                                                                    const std::string& filename);

  // The file and its nodes.

  /// Reads a file of any form; no root when it cannot be read or parsed (the document logs the latter).
  [[nodiscard]] PropertyList bookmarksDictionaryWithFilename(const std::string& filename);
  /// Writes the whole file, always in the binary form, and announces the folder's change either way.
  [[nodiscard]] bool writeBookmarksToFileWithDictionaryAndFilename(const PropertyList& dictionary,
                                                                   const std::string& filename);
  [[nodiscard]] bool verifyThatDictionaryIsBookmarksFileRootNode(PropertyListValue dictionary);  ///< By its type.
  /// Every version below 2, and a missing one, is sorted. Lenient on purpose.
  [[nodiscard]] bool verifyThatDictionaryHasCorrectVersionWithRootNode(PropertyListDictionary rootNode);
  /// The first child of the root with the title, of whatever kind; a null handle for none.
  [[nodiscard]] PropertyListDictionary bookmarksBarDictionaryFromBookmarksFileRootNode(PropertyListDictionary rootNode);
  /// The same for the menu.
  [[nodiscard]] PropertyListDictionary bookmarksMenuDictionaryFromBookmarksFileRootNode(
      PropertyListDictionary rootNode);
  /// Puts bar and menu in place of the root's children with their titles, or appends them; answers the same root,
  /// changed in place. A null handle when a bar or menu that is absent would have to be placed.
  [[nodiscard]] PropertyListDictionary bookmarksDictionaryWithRootNodeBookmarksBarAndBookmarksMenu(
      PropertyListDictionary rootNode, PropertyListDictionary bookmarksBar, PropertyListDictionary bookmarksMenu);
  /// Its "Title", else the title in its "URIDictionary"; none without either.
  [[nodiscard]] std::optional<std::string_view> titleFromBookmarkNode(PropertyListDictionary bookmarkNode) const;
  /// Into the "URIDictionary" of a node that has one, else into its "Title".
  void setTitleForBookmarkNode(std::string_view title, PropertyListDictionary bookmarkNode);
  [[nodiscard]] BookmarkNodeType typeFromBookmarkNode(PropertyListDictionary bookmarkNode) const;  ///< By its name.

  // Ordering.

  /// Cleans and orders the whole tree under `rootDictionary`, the root as read from the file.
  ///
  /// Consumes its input: cleaning edits shared nodes in place, so use only the returned root afterwards. Answers the
  /// same root with `didSortFlag` false when no order changed (write nothing then, even if cleaning removed something),
  /// or a new root with `didSortFlag` true that shares every bookmark with the old one. With the flag true, a null
  /// handle means that the bar or the menu is missing and nothing can be written.
  [[nodiscard]] PropertyListDictionary sortBookmarksWithRootDictionaryAndDidSortFlag(
      PropertyListDictionary rootDictionary, bool* didSortFlag);
  /// The node's subtree in order: new folders, the same bookmarks. A node that has nothing to sort is returned itself.
  [[nodiscard]] PropertyListDictionary sortBookmarksInDictionary(PropertyListDictionary dictionary);
  /// The same nodes in order, in a new array. Stable.
  [[nodiscard]] PropertyListArray sortedArrayFromBookmarkChildArray(PropertyListArray bookmarkChildArray);
  /// The same shape with the same identifiers in the same places. A node without one equals nothing, not even itself.
  [[nodiscard]] bool areBookmarksEqualInDictionaryAndDictionary(PropertyListDictionary first,
                                                                PropertyListDictionary second) const;
  /// Bookmarks in the node's subtree, not folders.
  [[nodiscard]] std::size_t numberOfBookmarksInDictionary(PropertyListDictionary dictionary) const;

  // Cleaning.

  /// Cleans the tree below `rootNode`, in place. The root itself always stays. The titles that renaming makes come to
  /// 32 MB in one call at most, or in one sort; beyond that siblings keep the title they share, and one line is logged.
  void validateBookmarksInRootNode(PropertyListDictionary rootNode);
  /// Whether the node is to be removed from its folder; a folder's subtree is cleaned first.
  [[nodiscard]] bool isFaultyBookmarkNodeUseDuplicateURLLookupSet(PropertyListDictionary bookmarkNode,
                                                                  BookmarkSet& duplicateURLLookupSet);
  /// Names an untitled node, or makes its title unique among those in the set.
  void validateBookmarkNodeTitleUseDuplicateTitleLookupSet(PropertyListDictionary bookmarkNode,
                                                           TitleLookupSet& duplicateTitleLookupSet);
  /// A hook: no address is ever stale.
  [[nodiscard]] bool isStaleResource(std::string_view address) const;
  /// The title for entries without one, in the user's language.
  [[nodiscard]] std::string nameForUntitledBookmarkNode() const;
  /// Gives the node a new identifier.
  void updateWebBookmarkUUIDInDictionary(PropertyListDictionary dictionary);

  // The file around a sort.

  /// Whether something named "lock" lies beside the bookmarks file: the browser is using it.
  [[nodiscard]] bool isBookmarksFileLocked();
  [[nodiscard]] std::optional<FileDate> bookmarksFileModificationDate();  ///< None without a file.
  /// Copies the file at `filename` to the backup path, once: an existing backup is never touched, nor one that another
  /// process makes in the same moment.
  [[nodiscard]] bool writeBackupFileForFilename(const std::string& filename);

 private:
  struct Operation;
  void enterStage(SortStage stage) { stageObserver_->stageBegan(stage); }
  /// Stays true once it is.
  [[nodiscard]] bool isStopRequested() {
    isStopped_ = isStopped_ || stageObserver_->isStopRequested();
    return isStopped_;
  }
  /// The code that ends the operation; none when the attempt failed, because the file was locked or has changed.
  [[nodiscard]] std::optional<TarvelError> attemptSort(Operation& operation);
  /// The code that ends the operation; none when there is a result to compare and write.
  [[nodiscard]] std::optional<TarvelError> readAndOrder(Operation& operation);
  /// As attemptSort().
  [[nodiscard]] std::optional<TarvelError> backUpAndWrite(Operation& operation);
  [[nodiscard]] PropertyList readBookmarks(const std::string& filename, std::optional<FileVersion>* readVersion);
  void logMemoryShortage(const std::string& path);
  /// TarvelErrorFileInUse says that the file is no longer what was read. No version: whatever it is.
  [[nodiscard]] TarvelError writeBookmarks(const PropertyList& dictionary, const std::string& filename,
                                           const std::optional<FileVersion>& readVersion);

  /// Where a node's title is written.
  struct TitlePlace {
    PropertyListDictionary dictionary;
    PropertyListKey key;
  };
  [[nodiscard]] static TitlePlace titlePlaceIn(PropertyListDictionary bookmarkNode);
  [[nodiscard]] std::vector<std::uint32_t> orderOfBookmarkChildArray(PropertyListArray bookmarkChildArray) const;
  [[nodiscard]] bool isTopLevelFixed(PropertyListDictionary node) const;
  static void setTitleValue(PropertyListValue title, PropertyListDictionary bookmarkNode);
  void cleanTree(PropertyListDictionary rootNode, RenamingAllowance& allowance);
  void cleanChildren(PropertyListDictionary folder, BookmarkSet& bookmarks, RenamingAllowance& allowance);
  [[nodiscard]] bool isFaultyNode(PropertyListDictionary node, BookmarkSet& bookmarks, RenamingAllowance& allowance);
  [[nodiscard]] bool isFaultyFolder(PropertyListDictionary folder, BookmarkSet& bookmarks,
                                    RenamingAllowance& allowance);
  [[nodiscard]] bool isFaultyLeaf(PropertyListDictionary leaf, BookmarkSet& bookmarks);
  void validateTitle(PropertyListDictionary node, TitleLookupSet& titles, RenamingAllowance& allowance);
  void renameBookmarkNode(PropertyListDictionary bookmarkNode, std::string_view title, TitleLookupSet& titles,
                          RenamingAllowance& allowance);

  bool arrangeFoldersAtTop_ = false;
  std::optional<std::string> backupFilename_;
  std::optional<std::string> bookmarksFilename_;
  bool removeDuplicates_ = false;
  bool renameSamenamed_ = false;
  bool sortBookmarksBar_ = false;
  bool writeBackupFile_ = false;
  const Platform& platform_;
  SortObserver* sortObserver_ = &noSortObserver;
  StageObserver* stageObserver_ = &noStageObserver;
  bool isStopped_ = false;
  std::optional<FileDate> sortedFileDate_;
};

}  // namespace tarvel
