#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "platform/property_list.h"

namespace tarvel {

/// Why cleaning removed an entry.
enum class RemovalReason {
  kEmptyFolder,  ///< A folder that had no children, or lost them all.
  kNoAddress,    ///< A bookmark whose address is missing or white space.
  kDuplicate,    ///< A bookmark whose address occurs again later in the same tree.
};

/// The stages of a sort. Cleaning and ordering alternate, once for each of the three trees. A file that changed
/// meanwhile is read again.
enum class SortStage : std::uint8_t { kWaiting, kReading, kCleaning, kOrdering, kWriting };

/// Reports the progress of a sort and may stop it. Called on the sort's thread, a few times for each folder. The
/// default implementations do nothing.
class StageObserver {
 public:
  virtual ~StageObserver() = default;

  virtual void stageBegan(SortStage /*stage*/) {}  ///< Called before the stage does anything.
  /// `count` entries of one folder passed the stage, those of its subfolders not included.
  virtual void entriesPassed(std::size_t /*count*/) {}
  /// Polled between folders: whether to stop the sort and leave the file unchanged. Not polled once writing began.
  [[nodiscard]] virtual bool isStopRequested() { return false; }
};

/// Reports every change that a sort makes to the tree, in order. The default implementations do nothing.
///
/// The handles belong to the tree being sorted and die with it. While a folder is cleaned, its array of children is
/// inconsistent: read the reported entry, not its siblings. A sort may read the file more than once; attemptBegan()
/// invalidates all earlier reports.
class SortObserver {
 public:
  virtual ~SortObserver() = default;

  /// The file was read and checked; `root` is about to be cleaned and ordered.
  virtual void attemptBegan(PropertyListDictionary /*root*/) {}

  /// Cleaning enters a folder. The roots of the three trees (top level, bar, menu) are entered too: each is a
  /// substitute that shares the children of the original. A folder without children is not entered.
  virtual void folderEntered(PropertyListDictionary /*folder*/) {}
  /// Called once for each folderEntered(), innermost folder first.
  virtual void folderLeft(PropertyListDictionary /*folder*/) {}

  /// `entry` is removed from the folder entered last. `survivor` is the bookmark that makes it a duplicate, its title
  /// final; a null handle for any other reason. The root of a tree is never removed.
  virtual void entryRemoved(PropertyListDictionary /*entry*/, RemovalReason /*reason*/,
                            PropertyListDictionary /*survivor*/) {}
  /// An untitled entry got a title.
  virtual void entryNamed(PropertyListDictionary /*entry*/, std::string_view /*title*/) {}
  /// An entry with the title of a sibling got another title.
  virtual void entryRenamed(PropertyListDictionary /*entry*/, std::string_view /*before*/, std::string_view /*after*/) {
  }

  /// A folder was ordered: `after` holds its children, `earlierPositions` the previous position of each.
  virtual void folderOrdered(PropertyListDictionary /*folder*/, PropertyListArray /*after*/,
                             std::span<const std::uint32_t> /*earlierPositions*/) {}

  /// `copy` takes the place of `folder` in the tree that is written. Comes before folderEntered() for bar and menu, and
  /// after folderOrdered() for every folder; a copy may be copied again. Either handle may be null.
  virtual void folderCopied(PropertyListDictionary /*folder*/, PropertyListDictionary /*copy*/) {}

  /// The tree is done. With `didSort` the order of some folder changed and `root` is to be written; `root` is a null
  /// handle if the file lacks the bar or the menu.
  virtual void attemptEnded(PropertyListDictionary /*root*/, bool /*didSort*/) {}
};

/// The null object for a sort without an observer. It has no state.
inline SortObserver noSortObserver;
/// The same for its stages.
inline StageObserver noStageObserver;

}  // namespace tarvel
