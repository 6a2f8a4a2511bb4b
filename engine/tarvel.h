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
class BookmarkSet;
struct TitleLookupSet;

/// How an operation ended. The engine gives 0 to 8; codes from 10 up belong to the agent.
enum TarvelError : std::int32_t {
  TarvelErrorNone = 0,                   ///< Done, or nothing to do.
  TarvelErrorBookmarksFileNotFound = 1,  ///< Sorting: no bookmarks file. Restoring: no backup.
  TarvelErrorOutputFileNotFound = 2,     ///< Restoring: no bookmarks file.
  TarvelErrorNotBookmarksFile = 3,       ///< The root is not a bookmarks root, or lacks the bar or the menu.
  TarvelErrorUnknownVersion = 4,
  TarvelErrorReadFailed = 5,
  TarvelErrorWriteFailed = 6,
  TarvelErrorBackupFailed = 7,
  TarvelErrorFileInUse = 8,  ///< The file was locked, or changed, during every attempt.
};

/// Sorts one bookmarks file. Configure a new instance, run one operation, discard it.
///
/// Runs on the calling thread; takes no locks, starts no threads, throws nothing. While the browser holds the file, an
/// operation sleeps for up to 10 steps of 0.3 seconds. `platform` is borrowed and outlives the instance.
class Tarvel {
 public:
  /// Every option is off, and the file is the browser's own.
  explicit Tarvel(const Platform& platform) : platform_(platform) {}

  // Options, all off by default.

  /// Folders before bookmarks in every folder.
  [[nodiscard]] bool arrangeFoldersAtTop() const { return arrangeFoldersAtTop_; }
  void setArrangeFoldersAtTop(bool arrangeFoldersAtTop) { arrangeFoldersAtTop_ = arrangeFoldersAtTop; }  ///< Sets it.
  /// Remove bookmarks whose address occurs again later in the same tree.
  [[nodiscard]] bool removeDuplicates() const { return removeDuplicates_; }
  void setRemoveDuplicates(bool removeDuplicates) { removeDuplicates_ = removeDuplicates; }  ///< Sets it.
  /// Give siblings with the same title distinct titles.
  [[nodiscard]] bool renameSamenamed() const { return renameSamenamed_; }
  void setRenameSamenamed(bool renameSamenamed) { renameSamenamed_ = renameSamenamed; }  ///< Sets it.
  /// Order the bookmarks bar too, and any other folder titled "BookmarksBar".
  [[nodiscard]] bool sortBookmarksBar() const { return sortBookmarksBar_; }
  void setSortBookmarksBar(bool sortBookmarksBar) { sortBookmarksBar_ = sortBookmarksBar; }  ///< Sets it.
  /// Back up the file before writing, unless a backup exists.
  [[nodiscard]] bool writeBackupFile() const { return writeBackupFile_; }
  void setWriteBackupFile(bool writeBackupFile) { writeBackupFile_ = writeBackupFile; }  ///< Sets it.

  // Paths.

  /// The stored path (by default the browser's own file), or none if nothing exists there now.
  [[nodiscard]] std::optional<std::string> bookmarksFilename();
  /// Expands a leading tilde.
  void setBookmarksFilename(const std::string& path);
  /// The stored path. If none was set: the bookmarks path with ".bak" appended, which is then stored; none while the
  /// bookmarks file does not exist.
  [[nodiscard]] std::optional<std::string> backupFilename();
  void setBackupFilename(const std::string& path);  ///< Expands a leading tilde.

  /// Receives the changes that a sort makes; null, the default, for none. Borrowed.
  void setSortObserver(SortObserver* sortObserver) {
    sortObserver_ = sortObserver != nullptr ? sortObserver : &noSortObserver;
  }
  /// Receives its stages. As above.
  void setStageObserver(StageObserver* stageObserver) {
    stageObserver_ = stageObserver != nullptr ? stageObserver : &noStageObserver;
  }

  // Whole operations.

  /// Sorts the file of bookmarksFilename(). Also TarvelErrorNone if the stage observer stopped the sort.
  [[nodiscard]] TarvelError sortBookmarks();
  /// Whether the stage observer stopped the sort, which then wrote nothing.
  [[nodiscard]] bool wasStopped() const { return isStopped_; }
  [[nodiscard]] TarvelError sortBookmarksInFileWithName(const std::string& path);  ///< Sets the path.
  /// Has the signature of a service handler: `pasteboard` and `userData` are ignored. On failure `error`, which must
  /// not be null, is set to the short message; on success it is unchanged.
  void sortBookmarksUserDataError(const void* pasteboard, const std::string& userData, std::string* error);
  /// Moves the backup over the bookmarks file; afterwards there is no backup.
  [[nodiscard]] TarvelError restoreBackedUpBookmarks();

  /// The modification date after the last successful sort: that of its own write, or the date read if nothing was
  /// written. Any other date found later is a concurrent write. None before the first success.
  [[nodiscard]] const std::optional<FileDate>& sortedFileDate() const { return sortedFileDate_; }

  // Codes and messages.

  /// Whether a code is in the engine's range: as unsigned, below 10.
  [[nodiscard]] static bool isTarvelError(std::uint64_t code);
  /// The short message. Deliberately the text for success for every code other than 1 to 8.
  [[nodiscard]] static std::string stringFromTarvelError(Bundle& bundle, std::int32_t error);
  /// The long message. Deliberately the text for an unknown error for code 2, which has none of its own.
  [[nodiscard]] static std::string stringFromTarvelErrorAndFilename(Bundle& bundle, std::int32_t error,
                                                                    const std::string& filename);

  // The file and its nodes.

  /// Reads a file of any form. No root if it cannot be read or parsed (a parse error is logged).
  [[nodiscard]] PropertyList bookmarksDictionaryWithFilename(const std::string& filename);
  /// Writes the whole file, always in the binary format. Announces a change of the folder even on failure.
  [[nodiscard]] bool writeBookmarksToFileWithDictionaryAndFilename(const PropertyList& dictionary,
                                                                   const std::string& filename);
  [[nodiscard]] bool verifyThatDictionaryIsBookmarksFileRootNode(PropertyListValue dictionary);  ///< By its type.
  /// Deliberately lenient: true for every version below 2 and for a missing one.
  [[nodiscard]] bool verifyThatDictionaryHasCorrectVersionWithRootNode(PropertyListDictionary rootNode);
  /// The first child of the root titled like the bar, of any type; a null handle if there is none.
  [[nodiscard]] PropertyListDictionary bookmarksBarDictionaryFromBookmarksFileRootNode(PropertyListDictionary rootNode);
  /// The same for the menu.
  [[nodiscard]] PropertyListDictionary bookmarksMenuDictionaryFromBookmarksFileRootNode(
      PropertyListDictionary rootNode);
  /// Replaces the root's children titled like the bar and the menu, or appends both; returns the same root, edited in
  /// place. A null handle if the bar or the menu is needed and absent.
  [[nodiscard]] PropertyListDictionary bookmarksDictionaryWithRootNodeBookmarksBarAndBookmarksMenu(
      PropertyListDictionary rootNode, PropertyListDictionary bookmarksBar, PropertyListDictionary bookmarksMenu);
  /// Its "Title", else the title in its "URIDictionary", else none.
  [[nodiscard]] std::optional<std::string_view> titleFromBookmarkNode(PropertyListDictionary bookmarkNode) const;
  /// Sets the title in the "URIDictionary" of a node that has one, else its "Title".
  void setTitleForBookmarkNode(std::string_view title, PropertyListDictionary bookmarkNode);
  [[nodiscard]] BookmarkNodeType typeFromBookmarkNode(PropertyListDictionary bookmarkNode) const;  ///< By its name.

  // Ordering.

  /// Cleans and orders the whole tree under `rootDictionary`, the root as read from the file.
  ///
  /// Consumes its input: cleaning edits shared nodes in place, so use only the returned root afterwards. If no order
  /// changed, returns the same root and sets `didSortFlag` to false: nothing is to be written, even if cleaning removed
  /// something. Otherwise sets it to true and returns a new root that shares every bookmark with the old one, or a null
  /// handle if the bar or the menu is missing and nothing can be written.
  [[nodiscard]] PropertyListDictionary sortBookmarksWithRootDictionaryAndDidSortFlag(
      PropertyListDictionary rootDictionary, bool* didSortFlag);
  /// The node's subtree in order: new folders, the same bookmarks. Returns the node itself if there is nothing to sort.
  [[nodiscard]] PropertyListDictionary sortBookmarksInDictionary(PropertyListDictionary dictionary);
  /// The same nodes in order, in a new array. Stable.
  [[nodiscard]] PropertyListArray sortedArrayFromBookmarkChildArray(PropertyListArray bookmarkChildArray);
  /// Whether both have the same shape and identifiers. A node without an identifier equals nothing, not even itself.
  [[nodiscard]] bool areBookmarksEqualInDictionaryAndDictionary(PropertyListDictionary first,
                                                                PropertyListDictionary second) const;
  /// The number of bookmarks in the node's subtree, folders not counted.
  [[nodiscard]] std::size_t numberOfBookmarksInDictionary(PropertyListDictionary dictionary) const;

  // Cleaning.

  /// Cleans the tree below `rootNode` in place; the root itself is never removed. Renaming creates at most 32 MB of
  /// titles in one call, or in one sort. Beyond that, siblings keep the title they share, and one line is logged.
  void validateBookmarksInRootNode(PropertyListDictionary rootNode);
  /// Whether the node must be removed from its folder. A folder's subtree is cleaned first.
  [[nodiscard]] bool isFaultyBookmarkNodeUseDuplicateURLLookupSet(PropertyListDictionary bookmarkNode,
                                                                  BookmarkSet& duplicateURLLookupSet);
  /// Names an untitled node, or makes its title unique in the set.
  void validateBookmarkNodeTitleUseDuplicateTitleLookupSet(PropertyListDictionary bookmarkNode,
                                                           TitleLookupSet& duplicateTitleLookupSet);
  /// A hook. No address is ever stale.
  [[nodiscard]] bool isStaleResource(std::string_view address) const;
  /// The title for entries without one, in the user's language.
  [[nodiscard]] std::string nameForUntitledBookmarkNode() const;
  /// Gives the node a new identifier.
  void updateWebBookmarkUUIDInDictionary(PropertyListDictionary dictionary);

  // The file around a sort.

  /// Whether something named "lock" exists beside the bookmarks file: the browser is using the file.
  [[nodiscard]] bool isBookmarksFileLocked();
  [[nodiscard]] std::optional<FileDate> bookmarksFileModificationDate();  ///< None without a file.
  /// Copies the file at `filename` to the backup path, atomically. Never overwrites an existing backup, nor one that
  /// another process creates at the same time.
  [[nodiscard]] bool writeBackupFileForFilename(const std::string& filename);

 private:
  struct Operation;
  void enterStage(SortStage stage) { stageObserver_->stageBegan(stage); }
  /// Once true, it stays true.
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
  /// TarvelErrorFileInUse if the file is no longer the version that was read. Without a version it is not compared.
  [[nodiscard]] TarvelError writeBookmarks(const PropertyList& dictionary, const std::string& filename,
                                           const std::optional<FileVersion>& readVersion);

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
