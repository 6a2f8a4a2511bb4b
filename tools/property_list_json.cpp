#include "tools/property_list_json.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <nlohmann/json.hpp>
#include <span>

#include "tools/json_text.h"

namespace tarvel {

namespace {

using Json = nlohmann::ordered_json;

/// From 1970-01-01 to 2001-01-01, both UTC.
constexpr double kReferenceDate = 978307200;

std::string base64(std::span<const std::uint8_t> bytes) {
  constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t present = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j) group = group << 8 | (j < present ? bytes[i + j] : 0U);
    for (std::size_t j = 0; j < 4; ++j) {
      text.push_back(j <= present ? kLetters[group >> (18 - 6 * j) & 0x3F] : '=');
    }
  }
  return text;
}

Json dateAsJson(double seconds) {
  const double since1970 = std::floor(seconds) + kReferenceDate;
  constexpr double kYear10000 = 253402300800.0;
  if (!(since1970 >= -62135596800.0 && since1970 < kYear10000)) {
    return std::isfinite(seconds) ? Json(seconds) : Json(std::to_string(seconds));
  }
  const auto time = static_cast<std::time_t>(since1970);
  std::tm parts{};
  std::array<char, 32> text{};
  if (gmtime_r(&time, &parts) == nullptr) return seconds;
  return std::string(text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts));
}

Json realAsJson(double real) {
  if (std::isfinite(real)) return real;
  return std::isnan(real) ? "nan" : real > 0 ? "inf" : "-inf";
}

Json asJson(PropertyListValue value);

Json elementsAsJson(PropertyListArray elements) {
  Json json = Json::array();
  for (std::size_t i = 0; i < elements.size(); ++i) json.push_back(asJson(elements.at(i)));
  return json;
}

Json entriesAsJson(PropertyListDictionary dictionary) {
  Json json = Json::object();
  // The library's ordered object looks for a key before it adds one, so entries go in by hand: all keys are distinct.
  auto& entries = json.get_ref<Json::object_t&>();
  for (std::size_t i = 0; i < dictionary.size(); ++i) {
    const PropertyListValue key = dictionary.keyAt(i);
    const auto text = key.string();
    entries.emplace_back(text ? std::string(*text) : asJson(key).dump(-1, ' ', false, Json::error_handler_t::replace),
                         asJson(dictionary.valueAt(i)));
  }
  return json;
}

/// Recursion ends where the readers' limit on nesting ends.
Json asJson(PropertyListValue value) {
  switch (value.type()) {
    case PropertyListType::kBoolean:
      return *value.boolean();
    case PropertyListType::kInteger:
      return value.isUnsigned() ? Json(static_cast<std::uint64_t>(*value.integer())) : Json(*value.integer());
    case PropertyListType::kReal:
      return realAsJson(*value.real());
    case PropertyListType::kDate:
      return dateAsJson(*value.date());
    case PropertyListType::kData:
      return base64(*value.data());
    case PropertyListType::kString:
      return *value.string();
    case PropertyListType::kUid:
      return {{"CF$UID", *value.uid()}};
    case PropertyListType::kArray:
      return elementsAsJson(value.array());
    case PropertyListType::kSet:
      return elementsAsJson(value.set());
    case PropertyListType::kDictionary:
      return entriesAsJson(value.dictionary());
    case PropertyListType::kAbsent:
    case PropertyListType::kNull:
      return nullptr;
  }
  return nullptr;
}

}  // namespace

std::string propertyListAsJson(PropertyListValue root) { return jsonText(asJson(root)); }

}  // namespace tarvel
