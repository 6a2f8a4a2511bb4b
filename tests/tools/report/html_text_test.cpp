#include "tools/report/html_text.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace tarvel {
namespace {

/// The length of the well-formed character that `text` begins with; 0 when it begins with none.
std::size_t characterLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<std::uint8_t>(text[i]) : 0U; };
  const auto follows = [&](std::size_t i) { return (byte(i) & 0xC0U) == 0x80U; };
  if (byte(0) < 0x80) return 1;
  if (byte(0) >= 0xC2 && byte(0) <= 0xDF) return follows(1) ? 2 : 0;
  if (byte(0) >= 0xE0 && byte(0) <= 0xEF) {
    const bool isOverlong = byte(0) == 0xE0 && byte(1) < 0xA0;
    const bool isSurrogate = byte(0) == 0xED && byte(1) >= 0xA0;
    return follows(1) && follows(2) && !isOverlong && !isSurrogate ? 3 : 0;
  }
  const bool isOutside = (byte(0) == 0xF0 && byte(1) < 0x90) || (byte(0) == 0xF4 && byte(1) >= 0x90);
  return byte(0) >= 0xF0 && byte(0) <= 0xF4 && follows(1) && follows(2) && follows(3) && !isOutside ? 4 : 0;
}

/// What is wrong with a text that is to stand in a page; empty when nothing is.
std::string faultIn(std::string_view text) {
  constexpr std::array<std::string_view, 5> kEntities = {"&amp;", "&lt;", "&gt;", "&quot;", "&#39;"};
  for (std::size_t i = 0; i < text.size();) {
    const std::string_view rest = text.substr(i);
    if (rest.find_first_of("<>\"'") == 0) return "a mark of the language at " + std::to_string(i);
    bool isEntity = false;
    for (const std::string_view entity : kEntities) isEntity = isEntity || rest.starts_with(entity);
    if (rest.front() == '&' && !isEntity) return "an open ampersand at " + std::to_string(i);
    if (static_cast<std::uint8_t>(rest.front()) < 0x20 || rest.front() == 0x7F) return "a control character";
    if (rest.starts_with("\xC2") && static_cast<std::uint8_t>(rest[1]) < 0xA0) return "a high control character";
    const std::size_t length = characterLength(rest);
    if (length == 0) return "no character at " + std::to_string(i);
    i += length;
  }
  return {};
}

TEST(HtmlText, NothingBeginsATagEndsAValueOrNamesACharacter) {
  EXPECT_EQ(htmlText("</title><b a=\"x\" c='y'>"), "&lt;/title&gt;&lt;b a=&quot;x&quot; c=&#39;y&#39;&gt;");
  EXPECT_EQ(htmlText("&lt;script&gt; &#60; &amp"), "&amp;lt;script&amp;gt; &amp;#60; &amp;amp");
  EXPECT_EQ(htmlText("<!-- --> ]]>"), "&lt;!-- --&gt; ]]&gt;");
}

TEST(HtmlText, PlainTextsOfAnyLanguageStayAsTheyAre) {
  for (const char* plain : {"", "Tea and cake", "ünïcode 日本 \xF0\x9F\x98\x80", "`${x}` {{x}} \\ / = ;"}) {
    EXPECT_EQ(htmlText(plain), plain);
  }
}

TEST(HtmlText, WhatHidesOrTurnsWhatStandsBesideItIsSpelledOut) {
  EXPECT_EQ(htmlText(std::string_view("a\0b", 3)), "a\\u{0000}b");
  EXPECT_EQ(htmlText("a\nb\tc\x1B[2J\x7F"), "a\\u{000A}b\\u{0009}c\\u{001B}[2J\\u{007F}");
  EXPECT_EQ(htmlText("\xC2\x85\xC2\x9B"), "\\u{0085}\\u{009B}");
  EXPECT_EQ(htmlText("\u202E\u2066\u200F\uFEFF\u2028"), "\\u{202E}\\u{2066}\\u{200F}\\u{FEFF}\\u{2028}");
}

TEST(HtmlText, WhatIsNoCharacterIsSpelledOut) {
  EXPECT_EQ(htmlText("\xFF"), "\\u{FFFD}");
  EXPECT_EQ(htmlText("\xED\xA0\xBD<"), "\\u{D83D}&lt;");
  // What begins like a lone surrogate swallows nothing that follows.
  EXPECT_EQ(htmlText("\xED\xC0\x1B"), "\\u{FFFD}\\u{FFFD}\\u{001B}");
  EXPECT_EQ(htmlText("\xED\xA0<b>"), "\\u{FFFD}\\u{FFFD}&lt;b&gt;");
}

TEST(HtmlText, NoTwoOrThreeBytesGetThrough) {
  std::string text(2, '\0');
  for (unsigned first = 0; first < 256; ++first) {
    for (unsigned second = 0; second < 256; ++second) {
      text[0] = static_cast<char>(first);
      text[1] = static_cast<char>(second);
      ASSERT_EQ(faultIn(htmlText(text)), "") << first << " " << second;
      ASSERT_EQ(faultIn(htmlText("\xED" + text)), "") << 0xED << " " << first << " " << second;
      ASSERT_EQ(faultIn(htmlText("\xF0" + text + "<")), "") << 0xF0 << " " << first << " " << second;
    }
  }
}

TEST(HtmlText, NoRandomBytesGetThrough) {
  std::mt19937 random(1);
  constexpr std::string_view kHostile = "<>&\"'\x1B\xED\xE2\x80\xAE\xA0\xF0\xFF;#x";
  for (int run = 0; run < 20000; ++run) {
    std::string text;
    for (std::size_t i = random() % 12; i > 0; --i) {
      text.push_back(random() % 2 == 0 ? kHostile[random() % kHostile.size()] : static_cast<char>(random()));
    }
    ASSERT_EQ(faultIn(htmlText(text)), "") << testing::PrintToString(text);
  }
}

TEST(HtmlText, AnIsolatedTextStandsInAnElementOfItsOwn) {
  EXPECT_EQ(isolated("a\"><b>", "t"), "<bdi class=\"t\">a&quot;&gt;&lt;b&gt;</bdi>");
  EXPECT_EQ(isolated("", "u"), "<bdi class=\"u\"></bdi>");
}

}  // namespace
}  // namespace tarvel
