#include "browser/host/request.h"

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <utility>

#include "browser/host/framing.h"
#include "browser/host/json_strings.h"

namespace tarvel {

namespace {

namespace json = simdjson::ondemand;
using JsonObject = json::object;

static_assert(kMessagePadding >= simdjson::SIMDJSON_PADDING);

/// The inside of a string, still escaped. simdjson has checked that the string ends.
std::string_view insideOf(json::raw_json_string string) {
  const char* const first = string.raw();
  const char* last = first;
  while (*last != '"') last += *last == '\\' ? 2 : 1;
  return {first, static_cast<std::size_t>(last - first)};
}

std::optional<std::string> stringOf(json::value value) {
  json::raw_json_string string;
  if (value.get_raw_json_string().get(string) != simdjson::SUCCESS) return std::nullopt;
  return decodedJsonString(insideOf(string));
}

/// A field of an object: its name, still escaped, and its value.
struct Field {
  std::string_view name;
  json::value value;
};

/// Calls `take` with each field until it returns false. False for that, and for a malformed object.
template <typename Take>
bool forEachField(json::value value, const Take& take) {
  JsonObject object;
  if (value.get_object().get(object) != simdjson::SUCCESS) return false;
  for (auto result : object) {
    json::field field;
    if (std::move(result).get(field) != simdjson::SUCCESS) return false;
    if (!take(Field{insideOf(field.key()), field.value()})) return false;
  }
  return true;
}

/// Reads a tree in the form of the browser's API.
class TreeReader {
 public:
  /// `roots` is the result of getTree(): an array of one node, the parent of the roots.
  [[nodiscard]] std::optional<BrowserTree> read(json::value roots) {
    json::array array;
    if (roots.get_array().get(array) != simdjson::SUCCESS) return std::nullopt;
    for (auto result : array) {
      json::value top;
      if (std::move(result).get(top) != simdjson::SUCCESS) return std::nullopt;
      const bool isRead = forEachField(
          top, [this](Field field) { return field.name != "children" || readChildren(field.value, kNoNode, 0); });
      if (!isRead) return std::nullopt;
    }
    completeTree(tree_);
    if (tree_.byId.size() != tree_.nodes.size()) return std::nullopt;
    return std::move(tree_);
  }

 private:
  /// Fields that only classify a node.
  struct NodeFacts {
    std::string type;
    std::string folderType;
    bool hasAddress = false;
    bool isUnmodifiable = false;
    std::int64_t position = -1;
  };

  /// The children of `parent`, or, for kNoNode, the roots.
  [[nodiscard]] bool readChildren(json::value value, std::uint32_t parent, std::size_t depth) {
    json::array array;
    if (depth > kDeepestFolder || value.get_array().get(array) != simdjson::SUCCESS) return false;
    for (auto result : array) {
      json::value child;
      if (std::move(result).get(child) != simdjson::SUCCESS || !readNode(child, parent, depth)) return false;
    }
    return true;
  }

  [[nodiscard]] bool readNode(json::value value, std::uint32_t parent, std::size_t depth) {
    const auto number = static_cast<std::uint32_t>(tree_.nodes.size());
    if (number == kMostNodes) return false;
    tree_.nodes.emplace_back().parent = parent;
    NodeFacts facts;
    const bool isRead = forEachField(value, [&](Field field) { return readField(field, number, depth, facts); });
    const std::size_t idLength = tree_.nodes[number].id.size();
    if (!isRead || idLength == 0 || idLength > kLongestId) return false;
    classify(tree_.nodes[number], facts);
    if (parent == kNoNode) {
      tree_.roots.push_back(number);
      return true;
    }
    BrowserNode& folder = tree_.nodes[parent];
    const bool isInPlace = facts.position < 0 || facts.position == static_cast<std::int64_t>(folder.children.size());
    folder.hasCorruptPositions = folder.hasCorruptPositions || !isInPlace;
    folder.children.push_back(number);
    return true;
  }

  [[nodiscard]] bool readField(Field field, std::uint32_t number, std::size_t depth, NodeFacts& facts) {
    BrowserNode& node = tree_.nodes[number];
    if (field.name == "id") return readText(field.value, node.id);
    if (field.name == "title") return readText(field.value, node.title);
    if (field.name == "url") {
      facts.hasAddress = true;
      return readText(field.value, node.address);
    }
    if (field.name == "type") return readWord(field.value, facts.type);
    if (field.name == "folderType") return readWord(field.value, facts.folderType);
    if (field.name == "unmodifiable") {
      facts.isUnmodifiable = true;
      return true;
    }
    if (field.name == "index") return field.value.get_int64().get(facts.position) == simdjson::SUCCESS;
    return field.name != "children" || readChildren(field.value, number, depth + 1);
  }

  [[nodiscard]] bool readText(json::value value, std::string_view& text) {
    const auto decoded = stringOf(value);
    if (decoded) text = tree_.list->makeString(*decoded).string().value_or("");
    return decoded.has_value();
  }

  [[nodiscard]] static bool readWord(json::value value, std::string& word) {
    auto decoded = stringOf(value);
    if (decoded) word = std::move(*decoded);
    return decoded.has_value();
  }

  static void classify(BrowserNode& node, const NodeFacts& facts) {
    const bool isRoot = node.parent == kNoNode;
    // Firefox marks all its roots as unmodifiable: their own titles and places are meant.
    const bool isFirefoxRoot = isRoot && !facts.type.empty();
    node.isSeparator = facts.type == "separator";
    if (facts.isUnmodifiable && isRoot && !isFirefoxRoot) {
      node.kind = BrowserNodeKind::kManaged;
    } else if (node.isSeparator || (facts.isUnmodifiable && !isRoot)) {
      node.kind = BrowserNodeKind::kFixed;
    } else if (facts.hasAddress) {
      node.kind = BrowserNodeKind::kBookmark;
    }
    if (!isRoot) return;
    node.isBar = facts.folderType == "bookmarks-bar" || node.id == "1" || node.id == "toolbar_____";
    node.isMobile = facts.folderType == "mobile" || node.id == "3" || node.id == "mobile______";
  }

  BrowserTree tree_;
};

RequestType typeNamed(std::string_view name) {
  constexpr std::array<std::pair<std::string_view, RequestType>, 4> kTypes = {{{"hello", RequestType::kHello},
                                                                               {"plan", RequestType::kPlan},
                                                                               {"done", RequestType::kDone},
                                                                               {"set", RequestType::kSet}}};
  for (const auto& [known, type] : kTypes) {
    if (name == known) return type;
  }
  return RequestType::kUnknown;
}

std::optional<Task> taskNamed(std::string_view name) {
  if (name == "sort") return Task::kSort;
  if (name == "clean") return Task::kClean;
  if (name == "undo") return Task::kUndo;
  return std::nullopt;
}

bool readRequestField(Field field, Request& request) {
  if (field.name == "tree") {
    request.tree = TreeReader().read(field.value);
    return request.tree.has_value();
  }
  if (field.name == "protocol") return field.value.get_int64().get(request.protocol) == simdjson::SUCCESS;
  if (field.name == "preview") return field.value.get_bool().get(request.isPreview) == simdjson::SUCCESS;
  if (field.name == "automatic") {
    bool isOn = false;
    if (field.value.get_bool().get(isOn) != simdjson::SUCCESS) return false;
    request.automatic = isOn;
    return true;
  }
  constexpr std::array<std::string_view, 5> kTexts = {"type", "task", "profile", "agreed", "language"};
  if (std::ranges::find(kTexts, field.name) == kTexts.end()) return true;
  auto text = stringOf(field.value);
  if (!text) return false;
  if (field.name == "type") request.type = typeNamed(*text);
  if (field.name == "task") request.task = taskNamed(*text);
  if (field.name == "profile") request.profile = std::move(*text);
  if (field.name == "agreed") request.agreed = std::move(*text);
  if (field.name == "language") request.language = std::move(*text);
  return true;
}

}  // namespace

std::optional<Request> readRequest(std::string& message) {
  if (message.capacity() < message.size() + kMessagePadding) message.reserve(message.size() + kMessagePadding);
  json::parser parser;
  json::document document;
  Request request;
  const simdjson::padded_string_view padded(message.data(), message.size(), message.capacity());
  if (parser.iterate(padded).get(document) != simdjson::SUCCESS) return std::nullopt;
  json::value whole;
  if (document.get_value().get(whole) != simdjson::SUCCESS) return std::nullopt;
  if (!forEachField(whole, [&request](Field field) { return readRequestField(field, request); })) return std::nullopt;
  return request;
}

}  // namespace tarvel
