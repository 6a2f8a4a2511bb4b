#include "tools/report/json_text.h"

#include <nlohmann/json.hpp>

#include "platform/linux/base/safe_text.h"

namespace tarvel {

std::string jsonText(const nlohmann::ordered_json& json) {
  return escapedJson(json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)) + "\n";
}

}  // namespace tarvel
