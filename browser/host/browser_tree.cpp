#include "browser/host/browser_tree.h"

#include <algorithm>

#include "browser/host/removed_title.h"
#include "engine/bookmark_node.h"

namespace tarvel {

namespace {

/// Makes the engine's node. An empty title becomes none, so that cleaning names the entry.
PropertyListDictionary makeNode(PropertyListTree& list, const BrowserNode& node) {
  const PropertyListDictionary made = list.makeDictionary();
  const bool isFolder = node.kind == BrowserNodeKind::kFolder;
  made.setString(kWebBookmarkTypeKey, isFolder ? kListTypeName : kLeafTypeName);
  made.setString(kWebBookmarkUUIDKey, node.id);
  if (node.isBar) {
    made.setString(kTitleKey, kBookmarksBarTitle);
  } else if (!node.title.empty()) {
    made.setString(kTitleKey, node.title);
  }
  if (!isFolder) made.setString(kURLStringKey, node.address);
  return made;
}

void addChildren(BrowserTree& tree, const BrowserNode& folder) {
  const PropertyListArray children = tree.list->makeArray(folder.children.size());
  for (const std::uint32_t child : folder.children) {
    const BrowserNode& node = tree.nodes[child];
    children.append(node.folder ? node.folder.value() : tree.list->makeString(node.id));
  }
  folder.folder.set(kChildrenKey, children.value());
}

void findFoldersOfRemoved(BrowserTree& tree) {
  const std::uint32_t root = tree.rootOfRemoved();
  if (root == kNoNode) return;
  for (const std::uint32_t child : tree.nodes[root].children) {
    BrowserNode& node = tree.nodes[child];
    if (node.kind != BrowserNodeKind::kFolder || !isTitleOfRemoved(node.title)) continue;
    node.holdsRemoved = true;
    node.kind = BrowserNodeKind::kFixed;
  }
}

}  // namespace

std::uint32_t BrowserTree::find(std::string_view id) const {
  const auto found = byId.find(id);
  return found == byId.end() ? kNoNode : found->second;
}

std::uint32_t BrowserTree::rootOfRemoved() const {
  std::uint32_t last = kNoNode;
  for (const std::uint32_t root : roots) {
    if (nodes[root].kind == BrowserNodeKind::kFolder && !nodes[root].isMobile) last = root;
  }
  return last;
}

std::vector<std::string_view> BrowserTree::pathOf(std::uint32_t node) const {
  std::vector<std::string_view> path;
  for (; node != kNoNode; node = nodes[node].parent) path.push_back(nodes[node].title);
  std::ranges::reverse(path);
  return path;
}

void completeTree(BrowserTree& tree) {
  findFoldersOfRemoved(tree);
  tree.byId.reserve(tree.nodes.size());
  // A folder precedes its children, so going backwards makes the children first.
  for (std::size_t i = tree.nodes.size(); i-- > 0;) {
    BrowserNode& node = tree.nodes[i];
    tree.byId.insert_or_assign(node.id, static_cast<std::uint32_t>(i));
    if (node.kind == BrowserNodeKind::kFixed || node.kind == BrowserNodeKind::kManaged) continue;
    node.folder = makeNode(*tree.list, node);
    if (node.kind == BrowserNodeKind::kFolder) addChildren(tree, node);
  }
}

}  // namespace tarvel
