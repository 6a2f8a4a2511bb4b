#include <gtest/gtest.h>
#include <regex.h>

#include <set>

#include "engine/conditional_insert.h"
#include "engine/uuid_string.h"
#include "platform/linux/base/linux_uuid_source.h"
#include "tests/support/vectors.h"

namespace tarvel {
namespace {

TEST(ListTextHash, ALongTextIsReadOnce) {
  const ListTextHash hash;
  const ListTextHash copy = hash;
  std::string text(10'000, 'a');
  const std::size_t first = hash(text);
  // Read again, it would have another hash by now.
  text[5000] = 'b';
  EXPECT_EQ(hash(text), first);
  EXPECT_EQ(copy(text), first);
  EXPECT_NE(hash(std::string_view(text).substr(0, 9000)), first);
  std::string shortText(kLongestShortText, 'a');
  const std::size_t firstOfShort = hash(shortText);
  shortText[100] = 'b';
  EXPECT_NE(hash(shortText), firstOfShort);
}

TEST(ListTextHash, EqualTextsHaveOneHashWhereverTheyLie) {
  const ListTextHash hash;
  const std::string text(10'000, 'a');
  const std::string twin = text;
  EXPECT_EQ(hash(text), hash(twin));
  EXPECT_TRUE(SameListText()(text, twin));
  EXPECT_FALSE(SameListText()(text, std::string_view(text).substr(1)));
}

TEST(ConditionalInsert, AddsOnceAndAnswersWhetherItDid) {
  StringSet set;
  EXPECT_TRUE(insertObject(set, "a"));
  EXPECT_FALSE(insertObject(set, std::string("a")));
  EXPECT_TRUE(insertObject(set, "A"));
  EXPECT_TRUE(insertObject(set, ""));
  EXPECT_FALSE(insertObject(set, ""));
  EXPECT_EQ(set.size(), 3U);
}

TEST(ConditionalInsert, ComparesByteByByteWithoutNormalising) {
  StringSet set;
  EXPECT_TRUE(insertObject(set, "caf\xC3\xA9"));
  EXPECT_TRUE(insertObject(set, "cafe\xCC\x81"));
  EXPECT_TRUE(insertObject(set, std::string_view("a\0b", 3)));
  EXPECT_TRUE(insertObject(set, std::string_view("a\0c", 3)));
}

TEST(UuidString, BytesBecomeUpperCaseGroups) {
  struct FixedSource final : UuidSource {
    std::array<std::uint8_t, 16> bytes{};
    std::array<std::uint8_t, 16> createUuid() override { return bytes; }
  } source;
  const auto vectors = vectorFile("strings.json")["uuid"]["from_bytes"];
  ASSERT_FALSE(vectors.empty());
  for (const auto& item : vectors) {
    const std::string hex = item["bytes_hex"];
    for (std::size_t i = 0; i < 16; ++i) {
      source.bytes[i] = static_cast<std::uint8_t>(std::stoi(hex.substr(2 * i, 2), nullptr, 16));
    }
    EXPECT_EQ(stringWithUUID(source), item["string"]);
  }
}

TEST(UuidString, RealOnesAreRandomVersion4AndDistinct) {
  LinuxUuidSource source;
  // The pattern, and after it in words what was tried.
  const std::string recorded = vectorFile("strings.json")["uuid"]["created_pattern"];
  regex_t pattern{};
  ASSERT_EQ(::regcomp(&pattern, recorded.substr(0, recorded.find(' ')).c_str(), REG_EXTENDED | REG_NOSUB), 0);
  const auto fits = [&pattern](const std::string& uuid) {
    return ::regexec(&pattern, uuid.c_str(), 0, nullptr, 0) == 0;
  };
  EXPECT_FALSE(fits("00000000-0000-1000-8000-000000000000"));
  std::set<std::string> seen;
  for (int i = 0; i < 200; ++i) {
    const std::string uuid = stringWithUUID(source);
    EXPECT_TRUE(fits(uuid)) << uuid;
    EXPECT_TRUE(seen.insert(uuid).second);
  }
  ::regfree(&pattern);
}

}  // namespace
}  // namespace tarvel
