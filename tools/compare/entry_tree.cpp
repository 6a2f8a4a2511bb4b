#include "tools/compare/entry_tree.h"

#include "engine/bookmark_node.h"
#include "tools/compare/entry_text.h"

namespace tarvel {

namespace {

EntryKind kindOf(PropertyListDictionary node) {
  const auto type = node.string(kWebBookmarkTypeKey);
  if (type == kListTypeName) return EntryKind::kFolder;
  if (type == kLeafTypeName) return EntryKind::kBookmark;
  return type == kProxyTypeName ? EntryKind::kProxy : EntryKind::kOther;
}

TreeEntry entryOf(PropertyListDictionary node) {
  TreeEntry entry;
  entry.kind = kindOf(node);
  auto title = node.string(kTitleKey);
  if (!title) title = node.dictionary(kURIDictionaryKey).string(kURITitleKey);
  entry.hasTitle = title.has_value();
  entry.title = shortenedText(title.value_or(""));
  entry.address = shortenedText(node.string(kURLStringKey).value_or(""));
  return entry;
}

}  // namespace

EntryTree entryTreeOf(PropertyListDictionary root,
                      const std::function<void(PropertyListDictionary, std::size_t)>& visit) {
  EntryTree tree;
  // As deep as the tree is nested, which the readers bound.
  const std::function<void(PropertyListDictionary, std::size_t, std::size_t)> add =
      [&](PropertyListDictionary node, std::size_t parent, std::size_t place) {
        const std::size_t index = tree.size();
        tree.push_back(entryOf(node));
        tree[index].parent = parent;
        tree[index].place = place;
        if (visit) visit(node, index);
        const PropertyListArray children = node.array(kChildrenKey);
        for (std::size_t i = 0; i < children.size(); ++i) {
          const PropertyListDictionary child = children.at(i).dictionary();
          if (child) add(child, index, i);
        }
        tree[index].end = tree.size();
      };
  if (root) add(root, kNoEntry, 0);
  return tree;
}

std::vector<std::string> folderOf(const EntryTree& tree, std::size_t entry) {
  ShortenedPath path;
  for (std::size_t at = tree[entry].parent; at != kNoEntry && at != 0; at = tree[at].parent) {
    if (!path.add(nameOf(tree[at]))) break;
  }
  return path.titles();
}

const std::string& nameOf(const TreeEntry& entry) { return entry.hasTitle ? entry.title : entry.address; }

std::string movementWithin(const TreeEntry& before, const TreeEntry& after) {
  const std::string place = std::to_string(after.place + 1);
  if (before.place == after.place) return "past others, to place " + place + " again";
  return "from place " + std::to_string(before.place + 1) + " to " + place;
}

}  // namespace tarvel
