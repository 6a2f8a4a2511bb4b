#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "platform/data.h"
#include "platform/property_list.h"

namespace tarvel {

// Property-list trees as JSON, in the notation of the test vectors:
//   {"t":"dict","v":[[key,tree],...]} (a key is a JSON string, or a tree when it is no well-formed string) | array |
//   set | string | string16 (v = UTF-16 units in hex, for what is not well-formed) | int (decimal text, "w":16 for 16
//   bytes) | real (C %a text; "w":4 for a single one) | bool | date (seconds since 2001, %a) | data (base 64) | uid |
//   null
// To be built, a node may also have an "id", which {"t":"ref","v":id} names to put the same object in a second place.

/// A value in the notation, in one canonical spelling: two trees are equal when these are.
[[nodiscard]] nlohmann::json toJson(const PropertyListValue& value);

/// Any tree in the notation, in the same spelling. Entries of dictionaries and sets have no order.
[[nodiscard]] nlohmann::json canonical(const nlohmann::json& tree);

/// Visits every value of a tree in the notation, in no particular order, however deep it is; keys are not visited.
void forEachNode(const nlohmann::json& tree, const std::function<void(const nlohmann::json&)>& visit);

/// Whether fromJson() can make it: there are no values for the types of other libraries ("uuid", "url").
[[nodiscard]] bool canBeMade(const nlohmann::json& tree);

[[nodiscard]] PropertyList fromJson(const nlohmann::json& tree);

[[nodiscard]] std::string decodeBase64(std::string_view text);
[[nodiscard]] std::string encodeBase64(std::string_view bytes);

}  // namespace tarvel
