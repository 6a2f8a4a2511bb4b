#include "platform/text/text_hash.h"

#include <gtest/gtest.h>

#include <string>

namespace tarvel {
namespace {

TEST(ListTextHash, ReadsALongTextOnce) {
  const ListTextHash hash;
  const ListTextHash copy = hash;
  std::string text(10'000, 'a');
  const std::size_t first = hash(text);
  // A second read would give a different hash.
  text[5000] = 'b';
  EXPECT_EQ(hash(text), first);
  EXPECT_EQ(copy(text), first);
  EXPECT_NE(hash(std::string_view(text).substr(0, 9000)), first);
  std::string shortText(kLongestShortText, 'a');
  const std::size_t firstOfShort = hash(shortText);
  shortText[100] = 'b';
  EXPECT_NE(hash(shortText), firstOfShort);
}

TEST(ListTextHash, EqualTextsAtDifferentAddressesHaveTheSameHash) {
  const ListTextHash hash;
  const std::string text(10'000, 'a');
  const std::string twin = text;
  EXPECT_EQ(hash(text), hash(twin));
  EXPECT_TRUE(SameListText()(text, twin));
  EXPECT_FALSE(SameListText()(text, std::string_view(text).substr(1)));
}

}  // namespace
}  // namespace tarvel
