#include "platform/path_components.h"

#include <gtest/gtest.h>

#include "tests/support/vectors.h"

namespace tarvel {
namespace {

/// The recorded answer, or for slashes alone the root: of them the recorded library leaves nothing, and the documented
/// answer is followed here.
std::string expectedFor(const nlohmann::json& item, const char* answer) {
  const std::string path = item["s"];
  const bool isOnlySlashes = path.size() > 1 && path.find_first_not_of('/') == std::string::npos;
  return isOnlySlashes ? "/" : item[answer].get<std::string>();
}

TEST(PathComponents, TheLastIsDeletedAsInTheOriginal) {
  const auto vectors = vectorFile("strings.json")["deleting_last_path_component"];
  ASSERT_FALSE(vectors["cases"].empty());
  for (const auto& item : vectors["cases"]) {
    EXPECT_EQ(deletingLastPathComponent(item["s"].get<std::string>()), expectedFor(item, "result")) << item;
  }
}

TEST(PathComponents, DeletedThreeTimesTheyLeadToTheMainApplicationAsInTheOriginal) {
  const auto vectors = vectorFile("strings.json")["deleting_last_path_component"];
  ASSERT_FALSE(vectors["cases"].empty());
  for (const auto& item : vectors["cases"]) {
    std::string path = item["s"];
    for (int i = 0; i < 3; ++i) path = deletingLastPathComponent(path);
    EXPECT_EQ(path, expectedFor(item, "three_times")) << item;
  }
}

}  // namespace
}  // namespace tarvel
