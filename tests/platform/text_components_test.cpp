#include "platform/text_components.h"

#include <gtest/gtest.h>

#include "tests/support/vectors.h"

namespace tarvel {
namespace {

TEST(TextComponents, TextsFallApartAtTheirDotsAsInTheOriginal) {
  const auto vectors = vectorFile("strings.json")["components_separated_by_dot"];
  ASSERT_FALSE(vectors["cases"].empty());
  for (const auto& item : vectors["cases"]) {
    EXPECT_EQ(componentsSeparatedBy(item["s"].get<std::string>(), '.'),
              item["components"].get<std::vector<std::string>>())
        << item;
  }
}

TEST(TextComponents, AZeroByteIsALetterAndMaySeparate) {
  const std::string_view text("a\0.b", 4);
  EXPECT_EQ(componentsSeparatedBy(text, '.'), (std::vector<std::string>{std::string("a\0", 2), "b"}));
  EXPECT_EQ(componentsSeparatedBy(text, '\0'), (std::vector<std::string>{"a", ".b"}));
}

}  // namespace
}  // namespace tarvel
