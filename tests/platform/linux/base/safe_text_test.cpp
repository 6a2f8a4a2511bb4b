#include "platform/linux/base/safe_text.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarvel {
namespace {

struct Dangerous {
  std::string_view bytes;
  std::string_view text;
  std::string_view json;
  std::string_view xml;
};

constexpr std::array kDangerous = {
    Dangerous{"\x1B", "\\u{001B}", "\\u001B", "&#x1B;"},
    Dangerous{std::string_view("\0", 1), "\\u{0000}", "\\u0000", "&#x0;"},
    Dangerous{"\a", "\\u{0007}", "\\u0007", "&#x7;"},
    Dangerous{"\b", "\\u{0008}", "\\u0008", "&#x8;"},
    Dangerous{"\r", "\\u{000D}", "\\u000D", "&#xD;"},
    Dangerous{"\x7F", "\\u{007F}", "\\u007F", "&#x7F;"},
    // C1: next line, CSI, OSC, and their 8-bit forms.
    Dangerous{"\u0085", "\\u{0085}", "\\u0085", "&#x85;"},
    Dangerous{"\u009B", "\\u{009B}", "\\u009B", "&#x9B;"},
    Dangerous{"\u009D", "\\u{009D}", "\\u009D", "&#x9D;"},
    Dangerous{"\x9B", "\\u{FFFD}", "\\uFFFD", "&#xFFFD;"},
    Dangerous{"\xC2", "\\u{FFFD}", "\\uFFFD", "&#xFFFD;"},
    // Marks, overrides and isolates of writing direction.
    Dangerous{"\u061C", "\\u{061C}", "\\u061C", "&#x61C;"},
    Dangerous{"\u200E", "\\u{200E}", "\\u200E", "&#x200E;"},
    Dangerous{"\u200F", "\\u{200F}", "\\u200F", "&#x200F;"},
    Dangerous{"\u202A", "\\u{202A}", "\\u202A", "&#x202A;"},
    Dangerous{"\u202B", "\\u{202B}", "\\u202B", "&#x202B;"},
    Dangerous{"\u202C", "\\u{202C}", "\\u202C", "&#x202C;"},
    Dangerous{"\u202D", "\\u{202D}", "\\u202D", "&#x202D;"},
    Dangerous{"\u202E", "\\u{202E}", "\\u202E", "&#x202E;"},
    Dangerous{"\u2066", "\\u{2066}", "\\u2066", "&#x2066;"},
    Dangerous{"\u2067", "\\u{2067}", "\\u2067", "&#x2067;"},
    Dangerous{"\u2068", "\\u{2068}", "\\u2068", "&#x2068;"},
    Dangerous{"\u2069", "\\u{2069}", "\\u2069", "&#x2069;"},
    // Separators, invisible characters, and tags beyond the first plane.
    Dangerous{"\u2028", "\\u{2028}", "\\u2028", "&#x2028;"},
    Dangerous{"\u2029", "\\u{2029}", "\\u2029", "&#x2029;"},
    Dangerous{"\uFEFF", "\\u{FEFF}", "\\uFEFF", "&#xFEFF;"},
    Dangerous{"\U000E0001", "\\u{E0001}", "\\uDB40\\uDC01", "&#xE0001;"},
    Dangerous{"\xED\xA0\xBD", "\\u{D83D}", "\\uD83D", "&#xD83D;"},
};

TEST(SafeText, CharactersThatControlTerminalsOrDisguiseTextAreEscaped) {
  for (const Dangerous& item : kDangerous) {
    const std::string around = "a" + std::string(item.bytes) + "b";
    EXPECT_EQ(printable(around), "a" + std::string(item.text) + "b");
    EXPECT_EQ(escapedJson(around), "a" + std::string(item.json) + "b");
    EXPECT_EQ(escapedXml(around), "a" + std::string(item.xml) + "b");
  }
}

TEST(SafeText, PlainTextOfAnyLanguageIsUnchanged) {
  for (const std::string_view plain :
       {"", "Tea and cake ~", "ünïcode 日本 \U0001F600", "\"\\&<>' \u200D\u200C\u00A0"}) {
    EXPECT_EQ(printable(plain), plain);
    EXPECT_EQ(escapedJson(plain), plain);
    EXPECT_EQ(escapedXml(plain), plain);
  }
}

TEST(SafeText, OnlyLayoutCharactersOfADocumentAreKept) {
  EXPECT_EQ(printable("\n\t"), "\\u{000A}\\u{0009}");
  EXPECT_EQ(escapedJson("{\n  1\t}\n"), "{\n  1\\u0009}\n");
  EXPECT_EQ(escapedXml("<a>\n\t</a>\r\n"), "<a>\n\t</a>&#xD;\n");
}

TEST(SafeText, NoPairOfBytesYieldsAControlByte) {
  std::string text(2, '\0');
  for (unsigned first = 0; first < 256; ++first) {
    for (unsigned second = 0; second < 256; ++second) {
      text[0] = static_cast<char>(first);
      text[1] = static_cast<char>(second);
      for (const char c : printable(text)) {
        const auto byte = static_cast<std::uint8_t>(c);
        ASSERT_TRUE(byte >= 0x20 && byte != 0x7F) << first << " " << second;
      }
      const std::string shown = printable(text);
      ASSERT_FALSE(shown.starts_with("\xC2") && static_cast<std::uint8_t>(shown[1]) < 0xA0) << first << " " << second;
    }
  }
}

TEST(SafeText, QuotedTextIsPrintableAndInQuotationMarks) {
  EXPECT_EQ(quotedText("/home/a b"), "“/home/a b”");
  EXPECT_EQ(quotedText("a\x1B[2J"), "“a\\u{001B}[2J”");
}

}  // namespace
}  // namespace tarvel
