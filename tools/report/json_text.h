#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace tarvel {

/// A JSON answer as every command prints it: indented, with a line break at the end. JSON has no lone surrogates, so
/// those are replaced; characters that could steer a terminal are spelled out, see escapedJson().
[[nodiscard]] std::string jsonText(const nlohmann::ordered_json& json);

}  // namespace tarvel
