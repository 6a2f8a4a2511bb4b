#include "tests/support/tree_notation.h"

#include <gtest/gtest.h>

#include <cctype>

#include "engine/bookmark_node.h"
#include "engine/value_coercion.h"

namespace tarvel {

namespace {

constexpr std::string_view kMarks = " []\"@#^!?~\t\n";

std::string addressFor(std::string_view title) { return "http://" + std::string(title) + "/"; }

class NotationParser {
 public:
  NotationParser(PropertyListTree& owner, std::string_view text) : owner_(owner), text_(text) {}

  PropertyListValue parseAll() {
    const PropertyListValue value = parse();
    skipSpace();
    if (at_ != text_.size()) ADD_FAILURE() << "unread notation: " << text_.substr(at_);
    return value;
  }

 private:
  [[nodiscard]] char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
  bool take(char c) {
    if (peek() != c) return false;
    ++at_;
    return true;
  }
  void skipSpace() {
    while (std::isspace(static_cast<unsigned char>(peek())) != 0) ++at_;
  }

  std::string word() {
    std::string result;
    if (take('"')) {
      while (at_ < text_.size() && peek() != '"') result.push_back(text_[at_++]);
      if (!take('"')) ADD_FAILURE() << "unclosed quote in " << text_;
      return result;
    }
    while (at_ < text_.size() && kMarks.find(peek()) == std::string_view::npos) result.push_back(text_[at_++]);
    return result;
  }

  PropertyListValue parse() {
    skipSpace();
    const std::size_t start = at_;
    if (std::isdigit(static_cast<unsigned char>(peek())) != 0) return owner_.makeInteger(std::stoi(word()));
    const PropertyListDictionary node = owner_.makeDictionary();
    const char kind = std::string_view("^!?").find(peek()) != std::string_view::npos ? text_[at_++] : '\0';
    const bool isUntitled = take('~');
    const std::string title = isUntitled ? "" : word();
    std::string address = addressFor(title);
    bool hasAddress = true;
    if (take('@')) {
      address = word();
      hasAddress = !address.empty();
    }
    std::string identifier = "id-" + std::to_string(start);
    if (take('#')) identifier = word();
    const bool isFolder = peek() == '[' || kind == '!';
    fill(node, kind, isFolder, isUntitled ? nullptr : &title, hasAddress ? &address : nullptr);
    if (identifier != "-") node.setString(kWebBookmarkUUIDKey, identifier);
    if (peek() == '[') parseChildren(node);
    return node.value();
  }

  void fill(PropertyListDictionary node, char kind, bool isFolder, const std::string* title,
            const std::string* address) {
    const bool isLeaf = kind == '\0' && !isFolder;
    if (kind == '^') node.setString(kWebBookmarkTypeKey, kProxyTypeName);
    if (kind == '!' || (kind == '\0' && isFolder)) node.setString(kWebBookmarkTypeKey, kListTypeName);
    if (kind == '!') node.set(kShouldOmitFromUIKey, owner_.makeBoolean(true));
    if (isLeaf) {
      node.setString(kWebBookmarkTypeKey, kLeafTypeName);
      const PropertyListDictionary uri = owner_.makeDictionary();
      if (title != nullptr) uri.setString(kURITitleKey, *title);
      node.set(kURIDictionaryKey, uri.value());
      if (address != nullptr) node.setString(kURLStringKey, *address);
    } else if (title != nullptr) {
      node.setString(kTitleKey, *title);
    }
  }

  void parseChildren(PropertyListDictionary node) {
    const PropertyListArray children = owner_.makeArray(0);
    (void)take('[');
    for (skipSpace(); peek() != ']' && at_ < text_.size(); skipSpace()) children.append(parse());
    if (!take(']')) ADD_FAILURE() << "unclosed folder in " << text_;
    node.set(kChildrenKey, children.value());
  }

  PropertyListTree& owner_;
  std::string_view text_;
  std::size_t at_ = 0;
};

std::string titleText(std::optional<std::string_view> title) {
  if (!title) return "~";
  const bool isPlain = !title->empty() && title->find_first_of(kMarks) == std::string_view::npos;
  return isPlain ? std::string(*title) : "\"" + std::string(*title) + "\"";
}

std::string kindText(PropertyListDictionary node) {
  const auto type = node.string(kWebBookmarkTypeKey);
  if (type == kProxyTypeName) return "^";
  if (type == kListTypeName) return boolValue(node.get(kShouldOmitFromUIKey)) ? "!" : "";
  return type == kLeafTypeName ? "" : "?";
}

std::string textOf(PropertyListValue value) {
  if (value.integer()) return std::to_string(*value.integer());
  return text(value.dictionary());
}

}  // namespace

PropertyListDictionary treeIn(PropertyListTree& owner, std::string_view notation) {
  return NotationParser(owner, notation).parseAll().dictionary();
}

PropertyList tree(std::string_view notation) {
  auto owner = std::make_shared<PropertyListTree>();
  const PropertyListDictionary root = treeIn(*owner, notation);
  return {owner, root.value()};
}

std::string text(PropertyListDictionary node) {
  if (!node) return "(none)";
  auto title = node.string(kTitleKey);
  if (!title) title = node.dictionary(kURIDictionaryKey).string(kURITitleKey);
  std::string result = kindText(node) + titleText(title);
  if (node.string(kWebBookmarkTypeKey) == kLeafTypeName) {
    const auto address = node.string(kURLStringKey);
    if (!address) {
      result += "@";
    } else if (*address != addressFor(title.value_or(""))) {
      result += "@" + (address->find_first_of(kMarks) == std::string_view::npos ? std::string(*address)
                                                                                : "\"" + std::string(*address) + "\"");
    }
  }
  const PropertyListArray children = node.array(kChildrenKey);
  if (!children) return result;
  result += "[ ";
  for (std::size_t i = 0; i < children.size(); ++i) result += textOf(children.at(i)) + " ";
  return result + "]";
}

std::string text(const PropertyList& list) { return text(list.root.dictionary()); }

}  // namespace tarvel
