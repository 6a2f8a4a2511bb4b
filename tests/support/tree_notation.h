#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/property_list.h"

namespace tarvel {

// Bookmark trees as text, so that a failed test shows the difference.
//
//   name              a bookmark with that title (in its "URIDictionary") and an address made from it
//   name[ a b ]       a folder with children
//   ^name             a proxy; ^name[ a ] one with children
//   !name[ a ]        a folder that the interface omits
//   ?name             a node of an unknown type
//   "odd title"       quotes for a title that is empty or contains a space or a mark
//   ~                 instead of a name: no title
//   name@address      a bookmark's address; name@ for none
//   name#id           an identifier; name#- for none. The default depends on the position in the text
//   5                 a number: an element that is not a dictionary
//
// A root is a folder: Root[ BookmarksBar[ a ] BookmarksMenu[ b ] ].

/// The node that `notation` describes, in a new tree. Reports a test failure for malformed notation.
[[nodiscard]] PropertyList tree(std::string_view notation);

/// The same in an existing tree.
[[nodiscard]] PropertyListDictionary treeIn(PropertyListTree& owner, std::string_view notation);

/// A tree in the notation: titles and shape, addresses other than the default, no identifiers.
[[nodiscard]] std::string text(PropertyListDictionary node);
[[nodiscard]] std::string text(const PropertyList& list);

}  // namespace tarvel
