#include "platform/collation/title_fold.h"

#include <gtest/gtest.h>

#include "platform/collation/utf16_text.h"

namespace tarvel {
namespace {

std::u16string utf16(std::string_view text) {
  std::u16string units;
  appendUtf16(text, units);
  return units;
}

std::u16string folded(const char* locale, std::string_view title) {
  TitleFold fold(locale);
  std::u16string units;
  fold.append(title, units);
  return units;
}

TEST(Utf16Text, WellFormedTextComesThrough) {
  EXPECT_EQ(utf16("aé中\U0001F600"), u"aé中\U0001F600");
  EXPECT_EQ(utf16("\uD7FF\uE000\uFFFF\U00010000\U0010FFFF"), u"\uD7FF\uE000\uFFFF\U00010000\U0010FFFF");
  EXPECT_EQ(utf16(std::string_view("a\0b", 3)), std::u16string(u"a\0b", 3));
}

TEST(Utf16Text, ASurrogateInThreeBytesIsThatUnit) {
  EXPECT_EQ(utf16("\xED\xA0\x80"), std::u16string(1, char16_t{0xD800}));
  EXPECT_EQ(utf16("x\xED\xBF\xBF"), std::u16string(u"x") + char16_t{0xDFFF});
}

TEST(Utf16Text, EachIllFormedSequenceIsOneReplacementCharacter) {
  EXPECT_EQ(utf16("\x80"), u"\uFFFD");
  EXPECT_EQ(utf16("\xFF\xFE"), u"\uFFFD\uFFFD");
  EXPECT_EQ(utf16("\xC0\x80"), u"\uFFFD\uFFFD") << "overlong";
  EXPECT_EQ(utf16("\xE0\x80\x80"), u"\uFFFD\uFFFD\uFFFD") << "overlong";
  EXPECT_EQ(utf16("\xF4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD") << "past the last character";
  EXPECT_EQ(utf16("\xE4\xB8"), u"\uFFFD") << "cut off";
  EXPECT_EQ(utf16("\xF0\x9F\x98z"), u"\uFFFDz") << "cut off inside";
}

TEST(TitleFold, FoldsCaseAndDecomposes) {
  EXPECT_EQ(folded("", "ÉCOLE"), u"e\u0301cole");
  EXPECT_EQ(folded("", "Straße"), u"strasse");
  EXPECT_EQ(folded("", "\u01F0"), u"j\u030C") << "a letter with a caron";
  EXPECT_EQ(folded("", "\u1E9E\uFB03"), u"ssffi");
  EXPECT_EQ(folded("", "\uAC00"), u"\u1100\u1161") << "a Hangul syllable";
}

TEST(TitleFold, MarksAreInCanonicalOrder) { EXPECT_EQ(folded("", "a\u0301\u0323"), u"a\u0323\u0301"); }

TEST(TitleFold, TurkicLanguagesHaveTheirOwnI) {
  EXPECT_EQ(folded("tr_TR", "Iİi"), u"\u0131ii");
  EXPECT_EQ(folded("az_AZ", "I\u0307"), u"i");
  EXPECT_EQ(folded("tr", "I\u0323\u0307"), u"\u0131\u0323\u0307") << "the dot does not stand next to the letter";
  EXPECT_EQ(folded("en_US", "Iİ"), u"ii\u0307");
  EXPECT_EQ(folded("trv", "I"), u"i") << "another language whose code begins alike";
}

TEST(TitleFold, TheIotaSubscriptStaysAMarkExceptAtTheStart) {
  EXPECT_EQ(folded("", "\u1FBC"), u"\u03B1\u0345");
  EXPECT_EQ(folded("", "A\u0345B\u0345"), u"a\u0345b\u0345");
  EXPECT_EQ(folded("", "\u0345"), u"\u03B9");
}

TEST(TitleFold, LongTitlesThatGrowAreFoldedWhole) {
  std::string title;
  std::u16string expected;
  for (int i = 0; i < 5000; ++i) {
    title += "\u0390";  // three units once decomposed
    expected += u"\u03B9\u0308\u0301";
  }
  EXPECT_EQ(folded("", title), expected);
}

TEST(TitleFold, AsciiFoldsAsItDoesInsideOtherTitles) {
  std::string title;
  for (int byte = 0; byte < 0x80; ++byte) title += static_cast<char>(byte);
  for (const char* locale : {"", "en_US", "tr"}) {
    EXPECT_EQ(folded(locale, title) + u"\u4E2D", folded(locale, title + "\u4E2D")) << locale;
  }
}

TEST(TitleFold, AppendsToExistingText) {
  TitleFold fold("");
  std::u16string units = u"Ab";
  fold.append("C", units);
  fold.append("", units);
  EXPECT_EQ(units, u"Abc");
}

}  // namespace
}  // namespace tarvel
