#include "tests/support/random_tree.h"

#include <array>
#include <string>

#include "engine/bookmark_node.h"

namespace tarvel {

namespace {

constexpr int kDeepest = 5;

class RandomTree {
 public:
  explicit RandomTree(std::uint32_t seed) : random_(seed), owner_(std::make_shared<PropertyListTree>()) {}

  PropertyList make() {
    const PropertyListDictionary root = owner_->makeDictionary();
    const PropertyListArray children = owner_->makeArray(0);
    const std::size_t others = pick(6);
    for (std::size_t i = 0; i < others; ++i) children.append(node(0));
    insertFolder(children, std::string(kBookmarksBarTitle));
    insertFolder(children, std::string(kBookmarksMenuTitle));
    if (oneIn(8)) insertFolder(children, std::string(kBookmarksBarTitle));
    root.set(kChildrenKey, children.value());
    root.setString(kWebBookmarkTypeKey, kListTypeName);
    root.set(kWebBookmarkFileVersionKey, owner_->makeInteger(1));
    root.set("Unknown", oddValue());
    return {owner_, root.value()};
  }

 private:
  std::size_t pick(std::size_t below) { return std::uniform_int_distribution<std::size_t>(0, below - 1)(random_); }
  bool oneIn(std::size_t count) { return pick(count) == 0; }

  std::string title() {
    constexpr std::array<const char*, 10> kTitles = {"News",   "News", "news",         "News 2",  "Item 10",
                                                     "Item 2", "",     "\xC3\x84rzte", "No Name", "\xED\xA0\xBD"};
    return kTitles[pick(kTitles.size())];
  }

  PropertyListValue oddValue() {
    switch (pick(6)) {
      case 0:
        return owner_->makeInteger(-7);
      case 1:
        return owner_->makeReal(0.1);
      case 2:
        return owner_->makeDate(1.25);
      case 3:
        return owner_->makeUid(9);
      case 4:
        return owner_->makeArray(0).value();
      default:
        return owner_->makeBoolean(true);
    }
  }

  /// A text, or sometimes a value of another type.
  void setText(PropertyListDictionary node, const PropertyListKey& key, const std::string& text) {
    if (oneIn(25)) {
      node.set(key, oddValue());
    } else {
      node.setString(key, text);
    }
  }

  void insertFolder(PropertyListArray children, const std::string& title) {
    const PropertyListDictionary folder = owner_->makeDictionary();
    folder.setString(kTitleKey, title);
    folder.setString(kWebBookmarkTypeKey, kListTypeName);
    folder.setString(kWebBookmarkUUIDKey, "top " + title);
    fillChildren(folder, 1);
    children.append(folder.value());
    const std::size_t place = pick(children.size());
    const PropertyListValue other = children.at(place);
    children.replace(place, folder.value());
    children.replace(children.size() - 1, other);
  }

  void fillChildren(PropertyListDictionary folder, int depth) {
    const PropertyListArray children = owner_->makeArray(0);
    const std::size_t count = pick(7);
    for (std::size_t i = 0; i < count; ++i) {
      children.append(oneIn(30) ? oddValue() : node(depth));
    }
    folder.set(kChildrenKey, children.value());
  }

  PropertyListValue node(int depth) {
    const PropertyListDictionary node = owner_->makeDictionary();
    const std::string serial = std::to_string(++serial_);
    node.setString("Serial", serial);
    if (!oneIn(12)) setText(node, kWebBookmarkUUIDKey, oneIn(12) ? "same" : "id " + serial);
    const std::size_t kind = pick(10);
    if (kind < 5) {
      leaf(node, serial);
    } else if (kind < 8) {
      folder(node, depth);
    } else {
      if (kind == 8) node.setString(kWebBookmarkTypeKey, kProxyTypeName);
      if (!oneIn(4)) setText(node, kTitleKey, title());
      if (oneIn(3) && depth < kDeepest) fillChildren(node, depth + 1);
    }
    return node.value();
  }

  void leaf(PropertyListDictionary node, const std::string& serial) {
    node.setString(kWebBookmarkTypeKey, kLeafTypeName);
    if (!oneIn(10))
      setText(node, kURLStringKey,
              oneIn(10) ? " \t" : (oneIn(4) ? std::string("http://same/") : "http://" + serial + "/"));
    if (!oneIn(8)) {
      const PropertyListDictionary uri = owner_->makeDictionary();
      if (!oneIn(6)) setText(uri, kURITitleKey, title());
      node.set(kURIDictionaryKey, oneIn(25) ? oddValue() : uri.value());
    }
    if (oneIn(5)) setText(node, kTitleKey, title());
  }

  void folder(PropertyListDictionary node, int depth) {
    node.setString(kWebBookmarkTypeKey, kListTypeName);
    if (!oneIn(8)) setText(node, kTitleKey, oneIn(20) ? std::string(kBookmarksBarTitle) : title());
    if (oneIn(6)) node.set(kShouldOmitFromUIKey, oneIn(3) ? owner_->makeString("YES") : oddValue());
    if (oneIn(15)) {
      node.set(kChildrenKey, oneIn(2) ? oddValue() : owner_->makeString("none"));
    } else if (depth < kDeepest && !oneIn(10)) {
      fillChildren(node, depth + 1);
    }
  }

  std::mt19937 random_;
  std::shared_ptr<PropertyListTree> owner_;
  std::uint32_t serial_ = 0;
};

}  // namespace

PropertyList randomBookmarks(std::uint32_t seed) { return RandomTree(seed).make(); }

}  // namespace tarvel
