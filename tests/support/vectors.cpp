#include "tests/support/vectors.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>

namespace tarvel {

namespace {

std::optional<std::string> folderFromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

std::string dataFolder() { return TARVEL_TEST_DATA; }

}  // namespace

std::string vectorsFolder() { return folderFromEnvironment("TARVEL_VECTORS").value_or(dataFolder() + "/vectors"); }

const nlohmann::json& vectorFile(const std::string& name) {
  static std::map<std::string, nlohmann::json> files;
  const auto [place, isNew] = files.try_emplace(name);
  if (isNew) {
    std::ifstream stream(vectorsFolder() + "/" + name);
    place->second = nlohmann::json::parse(stream, nullptr, false);
    if (place->second.is_discarded()) {
      std::fprintf(stderr, "No recorded answers in %s/%s.\n", vectorsFolder().c_str(), name.c_str());
      std::abort();
    }
  }
  return place->second;
}

std::string bookmarksFolder() { return dataFolder() + "/bookmarks"; }

std::optional<std::string> samplesFolder() { return folderFromEnvironment("TARVEL_SAMPLES"); }

}  // namespace tarvel
