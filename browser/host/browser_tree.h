#pragma once

#include <tsl/robin_map.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/property_list.h"

namespace tarvel {

/// How deep folders may nest. An undo record of a deeper tree could not be read again.
inline constexpr std::size_t kDeepestFolder = 240;

/// Entries that a tree may have. Real ones take about 170 bytes of a message, so no message holds more; invented ones
/// take fewer bytes, and forty times as much memory.
inline constexpr std::size_t kMostNodes = 500'000;

/// Bytes of an id. Browsers make ids of up to 20.
inline constexpr std::size_t kLongestId = 100;

/// No node of a tree.
inline constexpr std::uint32_t kNoNode = static_cast<std::uint32_t>(-1);

enum class BrowserNodeKind : std::uint8_t {
  kBookmark,
  kFolder,
  kFixed,    ///< Keeps its place: a separator, an unmodifiable entry, a folder of removed entries.
  kManaged,  ///< An unmodifiable root. It and its contents are never changed.
};

/// One entry of a browser's bookmarks.
struct BrowserNode {
  BrowserNodeKind kind = BrowserNodeKind::kFolder;
  /// Given by the browser; empty for a folder that the plan creates.
  std::string_view id;
  std::string_view title;
  std::string_view address;
  std::uint32_t parent = kNoNode;  ///< kNoNode for a root.
  /// In the browser's order.
  std::vector<std::uint32_t> children;
  /// Whether the browser's positions of the children differ from 0, 1, 2 and so on.
  bool hasCorruptPositions = false;
  bool isBar = false;             ///< The root of the bookmarks bar.
  bool isMobile = false;          ///< The root of a phone's bookmarks.
  bool holdsRemoved = false;      ///< A folder of removed entries.
  bool isSeparator = false;       ///< Of the kind kFixed: only an undo may move it.
  PropertyListDictionary folder;  ///< The engine's node, of a bookmark too; a null handle for a fixed one.
};

/// A browser's bookmarks: nodes by number, and a tree of the engine for each root.
///
/// In the engine's trees a node's identifier is the browser's id. A fixed entry is the plain string of its id there;
/// the engine leaves such values as they are. All texts belong to `list`.
struct BrowserTree {
  std::shared_ptr<PropertyListTree> list = std::make_shared<PropertyListTree>();
  std::vector<BrowserNode> nodes;
  std::vector<std::uint32_t> roots;
  tsl::robin_map<std::string_view, std::uint32_t> byId;

  [[nodiscard]] std::uint32_t find(std::string_view id) const;  ///< kNoNode for an unknown id.
  /// The root that has the folders of removed entries: the last one that is neither managed nor a phone's. kNoNode for
  /// none.
  [[nodiscard]] std::uint32_t rootOfRemoved() const;
  /// The titles of the folders from the root down to `node`, itself included.
  [[nodiscard]] std::vector<std::string_view> pathOf(std::uint32_t node) const;
};

/// Makes the engine's nodes of a tree whose other fields are set, and finds its folders of removed entries by their
/// titles.
void completeTree(BrowserTree& tree);

}  // namespace tarvel
