#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/property_list.h"

namespace tarvel {

inline constexpr std::size_t kNoEntry = static_cast<std::size_t>(-1);

enum class EntryKind : std::uint8_t { kFolder, kBookmark, kProxy, kOther };

/// What happened to an entry between two trees; an entry's changes are any of these together.
enum EntryChange : std::uint8_t {
  kEntryMoved = 1,         ///< Has another place in its folder, or another folder.
  kEntryRemoved = 2,       ///< Only in the earlier tree.
  kEntryAdded = 4,         ///< Only in the later tree.
  kEntryRenamed = 8,       ///< Has another title.
  kEntryNamed = 16,        ///< Had no title, and was given one.
  kEntryReaddressed = 32,  ///< Has another address.
};

/// One entry of a tree, as texts that outlive the property list.
struct TreeEntry {
  EntryKind kind = EntryKind::kOther;
  bool hasTitle = false;
  std::string title;
  std::string address;
  /// Where it is: an index into the tree, and its place among the children there, counted from 0.
  std::size_t parent = kNoEntry;
  std::size_t place = 0;
  /// One past the last entry below this one. The entry itself where there is none below, plus one.
  std::size_t end = 0;

  // Of a comparison.
  /// The same entry in the other tree.
  std::size_t counterpart = kNoEntry;
  /// Bits of EntryChange; `changesBelow` gathers those of everything inside a folder.
  std::uint8_t changes = 0;
  std::uint8_t changesBelow = 0;
  /// The title or address in the other tree, of what has another there.
  std::string otherTitle;
  std::string otherAddress;
};

/// A folder with everything below it, from the first to the last as they are read; the first is the root.
using EntryTree = std::vector<TreeEntry>;

/// The tree under `root`. `visit`, unless empty, is called with each node and its index. Elements that are no nodes are
/// left out, but they count where places are counted.
[[nodiscard]] EntryTree entryTreeOf(PropertyListDictionary root,
                                    const std::function<void(PropertyListDictionary, std::size_t)>& visit);

/// The titles of the folders that an entry is in, from the top level down, shortened; empty on the top level.
[[nodiscard]] std::vector<std::string> folderOf(const EntryTree& tree, std::size_t entry);

/// An entry's own title, or its address where it has none.
[[nodiscard]] const std::string& nameOf(const TreeEntry& entry);

/// How an entry moved within its folder, as people count. What others left or joined may have kept the number the same.
[[nodiscard]] std::string movementWithin(const TreeEntry& before, const TreeEntry& after);

}  // namespace tarvel
