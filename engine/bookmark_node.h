#pragma once

#include <cstdint>

#include "platform/property_list.h"

namespace tarvel {

/// The type of a node, from its "WebBookmarkType".
enum BookmarkNodeType : std::int32_t {
  BookmarkNodeTypeNone = 0,   ///< Absent or unknown.
  BookmarkNodeTypeLeaf = 1,   ///< A bookmark.
  BookmarkNodeTypeList = 2,   ///< A folder; also the root.
  BookmarkNodeTypeProxy = 3,  ///< A placeholder that the browser fills, such as the history.
};

// Keys of a node, as the browser writes them. All other keys are preserved.
inline constexpr PropertyListKey kWebBookmarkTypeKey{"WebBookmarkType"};
inline constexpr PropertyListKey kTitleKey{"Title"};
inline constexpr PropertyListKey kChildrenKey{"Children"};
inline constexpr PropertyListKey kURLStringKey{"URLString"};
inline constexpr PropertyListKey kURIDictionaryKey{"URIDictionary"};
inline constexpr PropertyListKey kURITitleKey{"title"};  ///< In the "URIDictionary".
inline constexpr PropertyListKey kWebBookmarkUUIDKey{"WebBookmarkUUID"};
inline constexpr PropertyListKey kShouldOmitFromUIKey{"ShouldOmitFromUI"};
inline constexpr PropertyListKey kWebBookmarkFileVersionKey{"WebBookmarkFileVersion"};

inline constexpr PropertyListKey kLeafTypeName{"WebBookmarkTypeLeaf"};
inline constexpr PropertyListKey kListTypeName{"WebBookmarkTypeList"};
inline constexpr PropertyListKey kProxyTypeName{"WebBookmarkTypeProxy"};

inline constexpr std::string_view kBookmarksBarTitle = "BookmarksBar";
inline constexpr std::string_view kBookmarksMenuTitle = "BookmarksMenu";

}  // namespace tarvel
