// The XML reader's rules and its behaviour on hostile files.

#include "platform/plist/xml_reader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <string_view>

#include "tests/platform/plist/plist_support.h"
#include "tests/support/sanitized.h"
#include "tests/support/vector_tree.h"

namespace tarvel {
namespace {

using plist_test::bytesOf;
using plist_test::kShortening;
using plist_test::repeated;

/// The root as JSON, or the error's text.
std::string readXmlText(std::string_view text) {
  PropertyListTree tree;
  const TextReading reading = readXml(bytesOf(text), tree);
  if (reading.error) return reading.error->description;
  return reading.root ? toJson(reading.root).dump() : "(nothing)";
}

std::uint64_t errorLine(std::string_view text) {
  PropertyListTree tree;
  const TextReading reading = readXml(bytesOf(text), tree);
  return reading.error ? reading.error->line : 0;
}

TEST(XmlReader, ReadsEntitiesAndCdata) {
  EXPECT_EQ(readXmlText("<string>a&amp;<![CDATA[<b>]]>&#x63;</string>"), R"({"t":"string","v":"a&<b>c"})");
  EXPECT_EQ(readXmlText("<string/>"), R"({"t":"string","v":""})");
}

TEST(XmlReader, DictionaryEntriesKeepTheFilesOrder) {
  PropertyListTree tree;
  const TextReading reading = readXml(bytesOf("<dict><key>b</key><true/><key>a</key><false/></dict>"), tree);
  EXPECT_EQ(reading.root.dictionary().keyAt(0).string(), "b");
  EXPECT_EQ(reading.root.dictionary().keyAt(1).string(), "a");
}

TEST(XmlReader, LimitsNestingOfContainersAndOfPlistTagsTo512) {
  const std::string leaf = "<string>x</string>";
  PropertyListTree tree;
  const std::string deepest = repeated("<array>", 512) + leaf + repeated("</array>", 512);
  EXPECT_EQ(plist_test::depthOf(readXml(bytesOf(deepest), tree).root), 512);
  EXPECT_EQ(readXmlText(repeated("<array>", 513) + leaf + repeated("</array>", 513)),
            "Too many nested arrays or dictionaries, failing on line 1");
  EXPECT_EQ(readXmlText(repeated("<plist>", 100000)), "Too many nested arrays or dictionaries, failing on line 1");
}

TEST(XmlReader, NeverExpandsDeclaredEntities) {
  EXPECT_EQ(readXmlText("<!DOCTYPE plist [<!ENTITY a SYSTEM \"file:///etc/passwd\">]><string>&a;</string>"),
            "Encountered unexpected character [ on line 1 while parsing DTD");
  EXPECT_EQ(readXmlText("<!DOCTYPE plist SYSTEM \"file:///etc/passwd\"><string>&a;</string>"),
            "Encountered unknown ampersand-escape sequence at line 1");
}

TEST(XmlReader, CountsEveryKindOfLineEnding) {
  EXPECT_EQ(readXmlText("<array>\n\r\n\r<bad/></array>"), "Encountered unknown tag bad on line 4");
  EXPECT_EQ(errorLine("<array>\n\r\n\r<bad/></array>"), 4U);
}

TEST(XmlReader, TruncatesLongNamesInErrors) {
  const std::string text = readXmlText("<" + std::string(1000000, 'x') + ">");
  EXPECT_EQ(text, "Encountered unknown tag " + std::string(128, 'x') + "\u2026 on line 1");
  // A character is never cut.
  EXPECT_EQ(readXmlText("<x" + repeated("\u00e9", 100) + ">"),
            "Encountered unknown tag x" + repeated("\u00e9", 63) + "\u2026 on line 1");
}

TEST(XmlReader, RealsOutOfRangeBecomeInfiniteOrZero) {
  const auto real = [](const std::string& text) {
    PropertyListTree tree;
    return readXml(bytesOf("<real>" + text + "</real>"), tree).root.real();
  };
  EXPECT_EQ(real("1e309"), HUGE_VAL);
  EXPECT_EQ(real("-1e99999999999999999999"), -HUGE_VAL);
  EXPECT_EQ(real("1" + std::string(400, '0')), HUGE_VAL);
  EXPECT_EQ(real("0.001e312"), HUGE_VAL);
  EXPECT_EQ(real("1e-400"), 0.0);
  EXPECT_EQ(real("0." + std::string(400, '0') + "1"), 0.0);
  EXPECT_EQ(real("1" + std::string(400, '0') + "e-400"), 1.0);
  EXPECT_EQ(real("1e-99999999999999999999"), 0.0);
  EXPECT_EQ(real("1."), 1.0);
  EXPECT_EQ(real("."), std::nullopt);
  EXPECT_EQ(real("infinite"), std::nullopt);
}

TEST(XmlReader, NumbersMayBeginWithUnicodeSpaces) {
  for (const std::string space : {" ", "\n", "\u2000", "\u200B", "\u202F", "\u205F", "\u3000"}) {
    EXPECT_EQ(readXmlText("<integer>" + space + "-" + space + "7</integer>"), R"({"t":"int","v":"-7"})");
    EXPECT_EQ(readXmlText("<real>" + space + "7</real>"), R"({"t":"real","v":"0x1.cp+2"})");
  }
  for (const std::string space : {"\v", "\u200C", "\u202E", "\u00A0"}) {
    EXPECT_NE(readXmlText("<integer>" + space + "7</integer>"), R"({"t":"int","v":"7"})");
    EXPECT_EQ(readXmlText("<real>" + space + "7</real>"), "Encountered misformatted real on line 1");
  }
}

TEST(XmlReader, AYearOutOfRangeIsRefused) {
  EXPECT_EQ(readXmlText("<date>9999999999999-01-01T00:00:00Z</date>"), "Could not interpret <date> at line 1");
  EXPECT_TRUE(readXmlText("<date>285000000000-01-01T00:00:00Z</date>").starts_with("{"));
}

TEST(XmlReader, ReadsDeclaredEncodings) {
  const auto declared = [](const std::string& name, const std::string& text) {
    return readXmlText("<?xml version='1.0' encoding='" + name + "'?><string>" + text + "</string>");
  };
  const std::string accented = R"({"t":"string","v":"é"})";
  EXPECT_EQ(declared("iso-8859-15", "\xE9"), accented);
  EXPECT_EQ(declared("WINDOWS-1252", "\xE9"), accented);
  EXPECT_EQ(declared("macintosh", "\x8E"), accented);
  EXPECT_EQ(declared("UTF-8", "\xC3\xA9"), accented);
  EXPECT_EQ(declared("GB18030", "\xA8\xA6"), accented);
  EXPECT_EQ(declared("EUC-JP", "\xC6\xFC"), R"({"t":"string","v":"日"})");
  // A truncated character.
  EXPECT_EQ(declared("EUC-JP", "\xC6"), "Unable to convert string to correct encoding");
}

TEST(XmlReader, OnlyKnownEncodingNamesReachTheConverter) {
  const auto declared = [](const std::string& name) { return readXmlText("<?xml encoding=\"" + name + "\"?><true/>"); };
  EXPECT_EQ(declared("ISO-2022-CN-EXT"), "Encountered unknown encoding (ISO-2022-CN-EXT)");
  EXPECT_EQ(declared("../../evil"), "Encountered unknown encoding (../../evil)");
  EXPECT_EQ(declared("UTF-7//TRANSLIT"), "Encountered unknown encoding (UTF-7//TRANSLIT)");
  EXPECT_EQ(declared("\xE9"), "Encountered unknown encoding (\u00e9)");
}

TEST(XmlReader, Utf32OutsideUnicodeIsRefused) {
  const std::string mark("\xFF\xFE\0\0", 4);
  EXPECT_EQ(readXmlText(mark + std::string("<\0\0\0\0\0\x11\0", 8)), "Unable to convert string to correct encoding");
  EXPECT_EQ(readXmlText(mark + std::string("<\0\0\0\0\xD8\0\0", 8)), "Unable to convert string to correct encoding");
}

// The suite's time limit fails this test if time or memory is out of proportion.
TEST(XmlReader, HostileFilesFailQuickly) {
  EXPECT_EQ(readXmlText(repeated("<array>", 10000000 / kShortening)),
            "Too many nested arrays or dictionaries, failing on line 1");
  EXPECT_EQ(readXmlText(repeated("<!---->", 5000000 / kShortening)), "Encountered unexpected EOF");
  EXPECT_EQ(readXmlText(repeated("<?a?>", 5000000 / kShortening)), "Encountered unexpected EOF");
  EXPECT_EQ(readXmlText("<array>" + repeated("<a ", 5000000 / kShortening)), "Encountered unexpected EOF");
  EXPECT_EQ(readXmlText("<string>" + repeated("<![CDATA[", 5000000 / kShortening)),
            "Could not find end of CDATA started on line 1");
  EXPECT_EQ(readXmlText("<string>" + repeated("<![CDATA[]]>&amp;", 2000000 / kShortening)),
            "Encountered unexpected EOF");
  EXPECT_EQ(readXmlText("<array>" + repeated("<dict/>", 3000000 / kShortening)), "Encountered unexpected EOF");
}

TEST(XmlReader, AMillionKeysInOneDictionaryAreRead) {
  constexpr std::uint32_t kKeys = casesOf(1'000'000);
  std::string text = "<dict>";
  for (std::uint32_t i = 0; i < kKeys; ++i) text += "<key>" + std::to_string(i) + "</key><true/>";
  text += "<key>7</key><false/></dict>";
  PropertyListTree tree;
  const TextReading reading = readXml(bytesOf(text), tree);
  ASSERT_TRUE(reading.root);
  EXPECT_EQ(reading.root.dictionary().size(), kKeys);
  EXPECT_EQ(reading.root.dictionary().get("7").boolean(), false);
}

}  // namespace
}  // namespace tarvel
