#include <gtest/gtest.h>
#include <regex.h>

#include <set>

#include "engine/conditional_insert.h"
#include "engine/uuid_string.h"
#include "platform/linux/base/linux_uuid_source.h"
#include "tests/support/vectors.h"

namespace tarvel {
namespace {

TEST(ConditionalInsert, AddsEachTextOnceAndReturnsWhetherItWasAdded) {
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

TEST(UuidString, FormatsBytesAsGroupsOfUpperCaseDigits) {
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

TEST(UuidString, RealUuidsAreDistinctAndOfVersion4) {
  LinuxUuidSource source;
  // The recorded pattern is followed by a space and a remark.
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
