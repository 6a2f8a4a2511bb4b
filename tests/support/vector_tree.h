#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "platform/data.h"
#include "platform/property_list.h"

namespace tarvel {

// Property-list trees as JSON, in the notation of the test vectors:
//   {"t":"dict","v":[[key,tree],...]} (a key is a JSON string, or a tree when it is not a well-formed string) | array |
//   set | string | string16 (v = UTF-16 units in hex, for what is not well-formed) | int (decimal text, "w":16 for 16
//   bytes) | real (C %a text; "w":4 for a single one) | bool | date (seconds since 2001, %a) | data (base 64) | uid |
//   null
// For building, a node may have an "id"; {"t":"ref","v":id} puts the same object in a second place.

/// The canonical notation of a value: equal trees have equal notations.
[[nodiscard]] nlohmann::json toJson(const PropertyListValue& value);

/// A tree in canonical notation. Entries of dictionaries and sets are unordered.
[[nodiscard]] nlohmann::json canonical(const nlohmann::json& tree);

/// Visits every value of a tree in the notation, in no particular order; keys are not visited.
void forEachNode(const nlohmann::json& tree, const std::function<void(const nlohmann::json&)>& visit);

/// Whether fromJson() can make it: types of other libraries ("uuid", "url") have no values here.
[[nodiscard]] bool canBeMade(const nlohmann::json& tree);

[[nodiscard]] PropertyList fromJson(const nlohmann::json& tree);

[[nodiscard]] std::string decodeBase64(std::string_view text);
[[nodiscard]] std::string encodeBase64(std::string_view bytes);

}  // namespace tarvel
