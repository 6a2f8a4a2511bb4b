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
  kNoAddress,    ///< A bookmark without an address, or with one of white space only.
  kDuplicate,    ///< A bookmark whose address comes again later in the same tree.
};

/// What a sort is at. Cleaning and ordering take turns, once for each of the three trees; a file that changed meanwhile
/// is read again.
enum class SortStage : std::uint8_t { kWaiting, kReading, kCleaning, kOrdering, kWriting };

/// Is told how far a sort has come, and may end it. Called on the sort's thread, a few times for each folder. Every
/// method does nothing unless overridden.
class StageObserver {
 public:
  virtual ~StageObserver() = default;

  virtual void stageBegan(SortStage stage) { (void)stage; }  ///< Comes before the stage does anything.
  /// So many entries of a folder, counted without what is below them, went through the stage.
  virtual void entriesPassed(std::size_t count) { (void)count; }
  /// Asked between folders: whether to abandon the sort. The file then stays as it is; a sort that has begun to write
  /// is not asked any more.
  [[nodiscard]] virtual bool isStopRequested() { return false; }
};

/// Is told what a sort does to the tree, in the order it happens. Every method does nothing unless overridden.
///
/// The handles belong to the tree being sorted and die with it. During cleaning the array of the folder being cleaned
/// is in pieces: look at the entry that is handed over, not at its siblings. A sort may read the file more than once;
/// what was told before the latest attemptBegan() has come to nothing.
class SortObserver {
 public:
  virtual ~SortObserver() = default;

  /// The file was read and checked; `root` is about to be cleaned and ordered.
  virtual void attemptBegan(PropertyListDictionary root) { (void)root; }

  /// Cleaning goes into a folder, and comes out of it. The roots of the three trees (top level, bar, menu) included:
  /// each is a stand-in with the children of what it stands for. A folder without children is not entered.
  virtual void folderEntered(PropertyListDictionary folder) { (void)folder; }
  /// Comes once for each folderEntered(), the innermost folder first.
  virtual void folderLeft(PropertyListDictionary folder) { (void)folder; }

  /// `entry` leaves the folder entered last. `survivor` is the bookmark that stays in place of a duplicate, its title
  /// final; a null handle for any other reason. The root of a tree is never removed.
  virtual void entryRemoved(PropertyListDictionary entry, RemovalReason reason, PropertyListDictionary survivor) {
    (void)entry, (void)reason, (void)survivor;
  }
  /// An entry without a title was given one.
  virtual void entryNamed(PropertyListDictionary entry, std::string_view title) { (void)entry, (void)title; }
  /// An entry with a sibling's title was given another.
  virtual void entryRenamed(PropertyListDictionary entry, std::string_view before, std::string_view after) {
    (void)entry, (void)before, (void)after;
  }

  /// A folder's children were put in order: `after` holds them, and `earlierPositions` where each was before.
  virtual void folderOrdered(PropertyListDictionary folder, PropertyListArray after,
                             std::span<const std::uint32_t> earlierPositions) {
    (void)folder, (void)after, (void)earlierPositions;
  }

  /// The tree is done: `didSort` when some folder's order changed, and `root` is to be written. Without a bar or a menu
  /// to put back, `root` is a null handle.
  virtual void attemptEnded(PropertyListDictionary root, bool didSort) { (void)root, (void)didSort; }
};

/// Observes nothing, and has no state: what a sort tells when no observer is set.
inline SortObserver noSortObserver;
/// The same for how far a sort has come.
inline StageObserver noStageObserver;

}  // namespace tarvel
