// Checking UTF-8, detecting encodings, and counting lines.

#include "platform/plist/text_encoding.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/plist/generalised_text.h"
#include "platform/plist/text_reading.h"

namespace tarvel {
namespace {

using Kind = TextEncoding::Kind;

TextEncoding detect(std::string_view text) {
  return detectEncoding({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

TEST(WellFormedUtf8, EveryCharacterIsWellFormedAndNoLoneSurrogateIs) {
  for (char32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
    std::string text = "a";
    appendUtf8(codePoint, text);
    const bool isHalf = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    ASSERT_EQ(isWellFormedUtf8(text), !isHalf) << static_cast<std::uint32_t>(codePoint);
    ASSERT_EQ(isWellFormedUtf8(text + "b"), !isHalf) << static_cast<std::uint32_t>(codePoint);
  }
}

TEST(WellFormedUtf8, OverlongOutOfRangeAndTruncatedSequencesAreNot) {
  for (const std::string_view text :
       {"\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF",
        "\x80", "\xBF", "\xC3", "\xE2\x82", "\xF0\x9F\x98", "\xC3\x28", "\xE2\x28\xA1", "\xE2\x82\x28",
        "\xF0\x28\x8C\xBC", "\xF0\x90\x28\xBC", "\xF0\x90\x8C\x28", "\xC3\xC3"}) {
    EXPECT_FALSE(isWellFormedUtf8(text));
    EXPECT_FALSE(isWellFormedUtf8("eight characters before" + std::string(text)));
  }
}

TEST(DetectEncoding, AByteOrderMarkOverridesTheDeclaration) {
  EXPECT_EQ(detect("\xEF\xBB\xBF<?xml encoding='koi8-r'?>").kind, Kind::kUtf8);
  EXPECT_EQ(detect("\xEF\xBB\xBF<?xml encoding='koi8-r'?>").markSize, 3U);
  EXPECT_EQ(detect("\xFE\xFF").kind, Kind::kUtf16BigEndian);
  EXPECT_EQ(detect("\xFF\xFE").kind, Kind::kUtf16LittleEndian);
  EXPECT_EQ(detect(std::string_view("\xFF\xFE\0\0", 4)).kind, Kind::kUtf32LittleEndian);
  EXPECT_EQ(detect(std::string_view("\0\0\xFE\xFF", 4)).kind, Kind::kUtf32BigEndian);
}

TEST(DetectEncoding, OnlyADeclarationAtTheStartNamesAnEncoding) {
  EXPECT_EQ(detect("<?xml version=\"1.0\" encoding=\"KOI8-R\"?>").name, "koi8-r");
  EXPECT_EQ(detect("<?xml encoding='utf-8'?>").kind, Kind::kUtf8);
  EXPECT_EQ(detect("<?xml encoding='utf-16be'?>").kind, Kind::kUtf16BigEndian);
  EXPECT_EQ(detect("<?xml encoding=koi8-r?>").kind, Kind::kUtf8);
  EXPECT_EQ(detect(" <?xml encoding='koi8-r'?>").kind, Kind::kUtf8);
  EXPECT_EQ(detect("<?xml version='1.0'?><a encoding='koi8-r'>").kind, Kind::kUtf8);
  EXPECT_EQ(detect("<?xml encoding='koi8-r").error, "End of buffer while looking for encoding name");
  EXPECT_EQ(detect("<?xml encoding=").error, "End of buffer while looking for encoding name");
  EXPECT_EQ(detect("").kind, Kind::kUtf8);
}

TEST(LineNumbers, CountEachLineEndingOnce) {
  const std::string_view text = "a\nb\rc\r\nd\n\re";
  EXPECT_EQ(lineNumberAt(text, 0), 1U);
  EXPECT_EQ(lineNumberAt(text, 1), 1U);
  EXPECT_EQ(lineNumberAt(text, text.find('b')), 2U);
  EXPECT_EQ(lineNumberAt(text, text.find('c')), 3U);
  EXPECT_EQ(lineNumberAt(text, text.find('d')), 4U);
  EXPECT_EQ(lineNumberAt(text, text.find('e')), 6U);
  EXPECT_EQ(lineNumberAt(text, 1000), 6U);
}

}  // namespace
}  // namespace tarvel
