#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/property_list.h"

namespace tarvel {

// Bookmark trees as text, so that a failing test reads like the change it missed.
//
//   name              a bookmark with that title (in its "URIDictionary") and an address made from it
//   name[ a b ]       a folder with children
//   ^name             a proxy; ^name[ a ] one with children
//   !name[ a ]        a folder that is omitted from the interface
//   ?name             a node of no known type
//   "odd title"       quotes where a title is empty or holds a space or a mark
//   ~                 in place of a name: no title at all
//   name@address      a bookmark's own address; name@ for none
//   name#id           an identifier; name#- for none. By default it is made from the place in the text
//   5                 a bare number: an element that is no dictionary
//
// A root is a folder: Root[ BookmarksBar[ a ] BookmarksMenu[ b ] ].

/// The node that `notation` describes, in a tree of its own. Reports a test failure when it cannot be read.
[[nodiscard]] PropertyList tree(std::string_view notation);

/// The same in an existing tree.
[[nodiscard]] PropertyListDictionary treeIn(PropertyListTree& owner, std::string_view notation);

/// A tree in the notation: titles and shape, addresses only where they were given, identifiers never.
[[nodiscard]] std::string text(PropertyListDictionary node);
[[nodiscard]] std::string text(const PropertyList& list);

}  // namespace tarvel
