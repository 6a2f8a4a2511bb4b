#include "tests/support/vector_tree.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/plist/base64.h"
#include "platform/plist/generalised_text.h"
#include "platform/plist/text_encoding.h"

namespace tarvel {

namespace {

using Json = nlohmann::json;

std::string realText(double value) {
  if (std::isnan(value)) return "nan";
  char text[64];
  std::snprintf(text, sizeof text, "%a", value);
  return text;
}

Json realJson(double value, bool isSingle) {
  Json json = {{"t", "real"}, {"v", realText(value)}};
  // The original platform has one object for each value that is not finite, without a width.
  if (isSingle && std::isfinite(value)) json["w"] = 4;
  return json;
}

Json textJson(std::string_view text) {
  if (isWellFormedUtf8(text)) return {{"t", "string"}, {"v", std::string(text)}};
  std::string utf16;
  appendUtf16FromUtf8(text, utf16);
  std::string hex;
  for (const char byte : utf16) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<std::uint8_t>(byte)));
    hex += digits;
  }
  return {{"t", "string16"}, {"v", hex}};
}

Json keyJson(Json tree) { return tree["t"] == "string" ? tree["v"] : tree; }

Json sorted(Json elements) {
  std::vector<std::pair<std::string, Json>> keyed;
  for (Json& element : elements) {
    std::string order = element.is_array() ? element[0].dump() : element.dump();
    keyed.emplace_back(std::move(order), std::move(element));
  }
  std::ranges::stable_sort(keyed, {}, &std::pair<std::string, Json>::first);
  Json result = Json::array();
  for (auto& [order, element] : keyed) result.push_back(std::move(element));
  return result;
}

/// A decimal number of up to 128 bits in two's complement.
struct WideInteger {
  std::uint64_t high = 0;
  std::uint64_t low = 0;
  [[nodiscard]] bool fits64() const { return high == 0 ? low >> 63 == 0 : high == UINT64_MAX && low >> 63 != 0; }
};

WideInteger parseDecimal(const std::string& text) {
  WideInteger wide;
  for (const char digit : text) {
    if (digit == '-') continue;
    std::uint64_t carry = static_cast<std::uint64_t>(digit - '0');
    std::uint64_t parts[4] = {wide.low & 0xFFFFFFFF, wide.low >> 32, wide.high & 0xFFFFFFFF, wide.high >> 32};
    for (std::uint64_t& part : parts) {
      part = part * 10 + carry;
      carry = part >> 32;
      part &= 0xFFFFFFFF;
    }
    wide = {parts[3] << 32 | parts[2], parts[1] << 32 | parts[0]};
  }
  if (text.starts_with('-')) {
    wide.low = ~wide.low + 1;
    wide.high = ~wide.high + (wide.low == 0 ? 1 : 0);
  }
  return wide;
}

bool isWide(const Json& tree, const WideInteger& number) { return tree.value("w", 0) == 16 || !number.fits64(); }

Json integerJson(std::int64_t low, bool isUnsigned, bool isWide) {
  Json json = {{"t", "int"}};
  json["v"] = isUnsigned ? std::to_string(static_cast<std::uint64_t>(low)) : std::to_string(low);
  if (isWide) json["w"] = 16;
  return json;
}

Json containerJson(const PropertyListValue& value) {
  Json elements = Json::array();
  if (const PropertyListDictionary dictionary = value.dictionary()) {
    for (std::size_t i = 0; i < dictionary.size(); ++i) {
      elements.push_back({keyJson(toJson(dictionary.keyAt(i))), toJson(dictionary.valueAt(i))});
    }
    return {{"t", "dict"}, {"v", sorted(std::move(elements))}};
  }
  const bool isSet = value.type() == PropertyListType::kSet;
  const PropertyListArray array = isSet ? value.set() : value.array();
  for (std::size_t i = 0; i < array.size(); ++i) elements.push_back(toJson(array.at(i)));
  if (isSet) return {{"t", "set"}, {"v", sorted(std::move(elements))}};
  return {{"t", "array"}, {"v", std::move(elements)}};
}

/// Makes the values of a tree, without recursion, since vectors nest thousands deep.
class TreeMaker {
 public:
  explicit TreeMaker(PropertyListTree& tree) : tree_(tree) {}

  PropertyListValue make(const Json& root) {
    PropertyListValue made = begin(root);
    while (!stack_.empty()) {
      Frame& frame = stack_.back();
      if (made) frame.values.push_back(made);
      made = frame.values.size() < (*frame.json)["v"].size() ? begin(nextOf(frame)) : end();
    }
    return made;
  }

 private:
  /// A container that is still being filled.
  struct Frame {
    const Json* json;
    PropertyListValue container;  ///< For containers that their elements may refer to.
    std::vector<PropertyListValue> keys;
    std::vector<PropertyListValue> values;
  };

  /// The value of a leaf; pushes a frame for a container.
  PropertyListValue begin(const Json& json) {
    const std::string type = json["t"];
    if (type == "ref") return named_.at(json["v"].get<int>());
    Frame frame{&json, {}, {}, {}};
    if (type == "array") {
      frame.container = tree_.makeArray(json["v"].size()).value();
    } else if (type == "dict") {
      if (json.contains("id")) frame.container = tree_.makeDictionary().value();
    } else if (type != "set") {
      return named(json, makeLeaf(type, json));
    }
    if (frame.container) named(json, frame.container);
    stack_.push_back(std::move(frame));
    return {};
  }

  const Json& nextOf(Frame& frame) {
    const Json& next = (*frame.json)["v"][frame.values.size()];
    if ((*frame.json)["t"] != "dict") return next;
    const Json& key = next[0];
    frame.keys.push_back(key.is_string() ? tree_.makeString(key.get_ref<const std::string&>())
                                         : makeLeaf(key["t"].get<std::string>(), key));
    return next[1];
  }

  /// The complete container of the innermost frame.
  PropertyListValue end() {
    const Frame frame = std::move(stack_.back());
    stack_.pop_back();
    if ((*frame.json)["t"] == "set") return tree_.makeSet(frame.values);
    if (!frame.container) return tree_.makeDictionary(frame.keys, frame.values).value();
    for (std::size_t i = 0; i < frame.values.size(); ++i) {
      if (frame.keys.empty()) {
        frame.container.array().append(frame.values[i]);
      } else {
        frame.container.dictionary().set(*frame.keys[i].string(), frame.values[i]);
      }
    }
    return frame.container;
  }

  PropertyListValue named(const Json& json, const PropertyListValue& value) {
    if (json.contains("id")) named_[json["id"].get<int>()] = value;
    return value;
  }

  PropertyListValue makeInteger(const Json& json) {
    const WideInteger number = parseDecimal(json["v"].get<std::string>());
    if (isWide(json, number)) return tree_.makeWideInteger(number.high, number.low);
    return tree_.makeInteger(static_cast<std::int64_t>(number.low));
  }

  PropertyListValue makeReal(const Json& json) {
    const double value = std::strtod(json["v"].get<std::string>().c_str(), nullptr);
    if (json.value("w", 0) == 4) return tree_.makeSingleReal(static_cast<float>(value));
    return tree_.makeReal(value);
  }

  PropertyListValue makeUtf16(const std::string& hex) {
    std::string units;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
      units.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    std::string text;
    appendUtf8FromUtf16({reinterpret_cast<const std::uint8_t*>(units.data()), units.size()}, text);
    return tree_.makeString(text);
  }

  PropertyListValue makeLeaf(const std::string& type, const Json& json) {
    if (type == "null") return tree_.makeNull();
    if (type == "bool") return tree_.makeBoolean(json["v"].get<bool>());
    if (type == "int") return makeInteger(json);
    if (type == "real") return makeReal(json);
    const std::string text = json["v"];
    if (type == "date") return tree_.makeDate(std::strtod(text.c_str(), nullptr));
    if (type == "string") return tree_.makeString(text);
    if (type == "string16") return makeUtf16(text);
    if (type == "uid") return tree_.makeUid(static_cast<std::uint32_t>(std::stoul(text)));
    const std::string bytes = decodeBase64(text);
    return tree_.makeData({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  }

  PropertyListTree& tree_;
  std::vector<Frame> stack_;
  std::map<int, PropertyListValue> named_;
};

}  // namespace

Json toJson(const PropertyListValue& value) {
  switch (value.type()) {
    case PropertyListType::kAbsent:
      return {{"t", "absent"}};
    case PropertyListType::kNull:
      return {{"t", "null"}};
    case PropertyListType::kBoolean:
      return {{"t", "bool"}, {"v", *value.boolean()}};
    case PropertyListType::kInteger:
      return integerJson(*value.integer(), value.isUnsigned(), value.numberWidth() == 16);
    case PropertyListType::kReal:
      return realJson(*value.real(), value.numberWidth() == 4);
    case PropertyListType::kDate:
      return {{"t", "date"}, {"v", realText(*value.date())}};
    case PropertyListType::kData: {
      const auto bytes = *value.data();
      return {{"t", "data"}, {"v", encodeBase64({reinterpret_cast<const char*>(bytes.data()), bytes.size()})}};
    }
    case PropertyListType::kString:
      return textJson(*value.string());
    case PropertyListType::kUid:
      return {{"t", "uid"}, {"v", std::to_string(*value.uid())}};
    case PropertyListType::kArray:
    case PropertyListType::kDictionary:
    case PropertyListType::kSet:
      return containerJson(value);
  }
  return {};
}

Json canonical(const Json& tree) {
  const std::string type = tree["t"];
  if (type == "dict") {
    Json entries = Json::array();
    for (const Json& entry : tree["v"]) {
      entries.push_back({entry[0].is_string() ? entry[0] : keyJson(canonical(entry[0])), canonical(entry[1])});
    }
    return {{"t", type}, {"v", sorted(std::move(entries))}};
  }
  if (type == "array" || type == "set") {
    Json elements = Json::array();
    for (const Json& element : tree["v"]) elements.push_back(canonical(element));
    return {{"t", type}, {"v", type == "set" ? sorted(std::move(elements)) : std::move(elements)}};
  }
  if (type == "int") {
    const WideInteger number = parseDecimal(tree["v"].get<std::string>());
    const bool wide = isWide(tree, number);
    return integerJson(static_cast<std::int64_t>(number.low), wide, wide);
  }
  if (type == "real" || type == "date") {
    const bool isSingle = tree.value("w", 0) == 4;
    double value = std::strtod(tree["v"].get<std::string>().c_str(), nullptr);
    if (isSingle) value = static_cast<double>(static_cast<float>(value));
    if (type == "real") return realJson(value, isSingle);
    return {{"t", type}, {"v", realText(value)}};
  }
  if (type == "null") return {{"t", type}};
  return {{"t", type}, {"v", tree["v"]}};
}

void forEachNode(const Json& tree, const std::function<void(const Json&)>& visit) {
  std::vector<const Json*> pending = {&tree};
  while (!pending.empty()) {
    const Json& node = *pending.back();
    pending.pop_back();
    visit(node);
    const std::string type = node["t"];
    if (type != "dict" && type != "array" && type != "set") continue;
    for (const Json& entry : node["v"]) pending.push_back(type == "dict" ? &entry[1] : &entry);
  }
}

bool canBeMade(const Json& tree) {
  bool result = true;
  forEachNode(tree, [&](const Json& node) { result = result && node["t"] != "uuid" && node["t"] != "url"; });
  return result;
}

PropertyList fromJson(const Json& tree) {
  auto owner = std::make_shared<PropertyListTree>();
  const PropertyListValue root = TreeMaker(*owner).make(tree);
  return {std::move(owner), root};
}

std::string decodeBase64(std::string_view text) {
  std::string bytes;
  std::uint32_t group = 0;
  unsigned bits = 0;
  for (const char c : text) {
    if (c == '=') break;
    group = group << 6 | static_cast<std::uint32_t>(kBase64Values[static_cast<std::size_t>(c)]);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes.push_back(static_cast<char>(group >> bits & 0xFFU));
  }
  return bytes;
}

std::string encodeBase64(std::string_view bytes) {
  std::string text;
  appendBase64({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, text);
  return text;
}

}  // namespace tarvel
