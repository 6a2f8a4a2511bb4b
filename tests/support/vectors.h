#pragma once

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace tarvel {

/// One file of recorded answers, from the folder that TARVEL_VECTORS names. A missing file is an error, not a pass.
[[nodiscard]] inline nlohmann::json vectorFile(const std::string& name) {
  const char* folder = std::getenv("TARVEL_VECTORS");
  std::ifstream file((folder == nullptr ? std::string("../shared/vectors") : folder) + "/" + name);
  if (!file) throw std::runtime_error("no vectors at " + name + ": set TARVEL_VECTORS");
  return nlohmann::json::parse(file);
}

}  // namespace tarvel
