#include "tools/report/property_list_json.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <nlohmann/json.hpp>
#include <span>
#include <string>

#include "platform/linux/base/safe_text.h"

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

/// A value that holds no others.
Json scalarAsJson(PropertyListValue value) {
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
    default:
      return nullptr;
  }
}

/// The one place where text becomes JSON.
std::string scalarText(const Json& scalar) {
  return escapedJson(scalar.dump(-1, ' ', false, Json::error_handler_t::replace));
}

class JsonWriter {
 public:
  explicit JsonWriter(const ByteSink& sink) : sink_(sink) {}

  void write(PropertyListValue root) {
    value(root);
    out_ += "\n";
    if (!isRefused_) (void)sink_(out_);
  }

 private:
  /// Recursion ends where the readers' limit on nesting ends.
  void value(PropertyListValue value) {
    const PropertyListArray elements = value.array() ? value.array() : value.set();
    if (elements) {
      container('[', ']', elements.size(), [&](std::size_t i) { this->value(elements.at(i)); });
    } else if (const PropertyListDictionary entries = value.dictionary()) {
      container('{', '}', entries.size(), [&](std::size_t i) { entry(entries.keyAt(i), entries.valueAt(i)); });
    } else if (const auto uid = value.uid()) {
      container('{', '}', 1, [&](std::size_t) { out_ += "\"CF$UID\": " + std::to_string(*uid); });
    } else {
      out_ += scalarText(scalarAsJson(value));
    }
  }

  void entry(PropertyListValue key, PropertyListValue value) {
    const Json scalar = scalarAsJson(key);
    // JSON has no other keys than texts.
    out_ += scalarText(scalar.is_string() ? scalar : Json(scalarText(scalar))) + ": ";
    this->value(value);
  }

  template <typename Element>
  void container(char opening, char closing, std::size_t size, const Element& element) {
    out_ += opening;
    depth_ += 1;
    for (std::size_t i = 0; i < size && !isRefused_; ++i) {
      if (i > 0) out_ += ',';
      line();
      element(i);
    }
    depth_ -= 1;
    if (size > 0) line();
    out_ += closing;
  }

  void line() {
    constexpr std::size_t kPieceSize = std::size_t{1} << 16;
    if (out_.size() >= kPieceSize) {
      isRefused_ = !sink_(out_);
      out_.clear();
    }
    out_ += '\n';
    out_.append(2 * depth_, ' ');
  }

  const ByteSink& sink_;
  std::string out_;
  std::size_t depth_ = 0;
  bool isRefused_ = false;
};

}  // namespace

void writePropertyListAsJson(PropertyListValue root, const ByteSink& sink) { JsonWriter(sink).write(root); }

}  // namespace tarvel
