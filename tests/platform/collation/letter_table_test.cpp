#include "platform/collation/letter_table.h"

#include <gtest/gtest.h>
#include <unicode/ucol.h>
#include <unicode/unorm2.h>
#include <unicode/uset.h>

#include <algorithm>
#include <iostream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/collation/title_order.h"
#include "platform/collation/utf16_text.h"
#include "tests/platform/collation/collation_support.h"
#include "tests/support/sanitized.h"

namespace tarvel {
namespace {

/// The groups of characters that `order` treats as one letter, or whose weight depends on a neighbour, as ICU lists
/// them.
std::vector<std::u16string> contractions(const TitleOrder& order) {
  UErrorCode status = U_ZERO_ERROR;
  USet* set = uset_openEmpty();
  ucol_getContractionsAndExpansions(order.collator(), set, nullptr, 1, &status);
  EXPECT_TRUE(U_SUCCESS(status));
  std::vector<std::u16string> groups;
  for (std::int32_t i = 0; i < uset_getItemCount(set); ++i) {
    UChar32 start = 0;
    UChar32 end = 0;
    std::u16string group(64, u'\0');
    const std::int32_t length = uset_getItem(set, i, &start, &end, group.data(), 64, &status);
    if (length < 2) continue;  // a range of characters
    group.resize(static_cast<std::size_t>(length));
    groups.push_back(group);
  }
  uset_close(set);
  return groups;
}

/// `text` with each letter and its marks as one character, where there is one.
std::u16string composed(const std::u16string& text) {
  UErrorCode status = U_ZERO_ERROR;
  std::u16string result(64, u'\0');
  const std::int32_t length = unorm2_normalize(unorm2_getNFCInstance(&status), text.data(),
                                               static_cast<std::int32_t>(text.size()), result.data(), 64, &status);
  EXPECT_TRUE(U_SUCCESS(status));
  result.resize(static_cast<std::size_t>(length));
  return result;
}

/// Whether two letters of `alphabet` are told apart like accents only, as i and y are in Lithuanian.
bool sharesALetter(const std::string& locale, const std::set<char16_t>& alphabet) {
  UCollator* collator = openIcuCollator(locale.c_str());
  UErrorCode status = U_ZERO_ERROR;
  ucol_setAttribute(collator, UCOL_STRENGTH, UCOL_PRIMARY, &status);
  ucol_setAttribute(collator, UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, &status);
  EXPECT_TRUE(U_SUCCESS(status));
  bool shares = false;
  for (const char16_t a : alphabet) {
    for (const char16_t b : alphabet) shares = shares || (a < b && ucol_strcoll(collator, &a, 1, &b, 1) == UCOL_EQUAL);
  }
  ucol_close(collator);
  return shares;
}

TEST(LetterTable, HasATableExactlyWhereIcuTreatsEachAsciiLetterAlone) {
  std::size_t proven = 0;
  std::size_t refused = 0;
  for (const std::string& locale : collation_test::collationLocales()) {
    TitleOrder order(locale, openIcuCollator);
    std::set<char16_t> alphabet;
    for (const std::string& character : collation_test::printableAscii()) {
      std::u16string fold;
      order.appendFold(character, fold);
      alphabet.insert(fold.begin(), fold.end());
    }
    bool grouped = false;
    for (const std::u16string& group : contractions(order)) {
      grouped =
          grouped || std::all_of(group.begin(), group.end(), [&](char16_t unit) { return alphabet.count(unit) != 0; });
    }
    const bool table = LetterTable::make(order).has_value();
    EXPECT_EQ(table, !grouped && !sharesALetter(locale, alphabet)) << locale;
    ++(table ? proven : refused);
  }
  std::cout << proven << " locales with a table, " << refused << " without\n";
  EXPECT_GT(proven, 0U);
  EXPECT_GT(refused, 0U);
}

TEST(LetterTable, LettersThatDifferOnlyInCaseShareARank) {
  TitleOrder order("en_US", openIcuCollator);
  const auto ranks = LetterTable::make(order);
  ASSERT_TRUE(ranks);
  EXPECT_EQ(ranks->rank('a'), ranks->rank('A'));
  EXPECT_LT(ranks->rank('A'), ranks->rank('b'));
  EXPECT_LT(ranks->rank(' '), ranks->rank('-'));
  EXPECT_LT(ranks->rank('9'), ranks->rank('a'));
  EXPECT_GE(ranks->rank(' '), 2);
}

TEST(LetterTable, TheTurkishTableSeparatesDottedAndDotlessI) {
  TitleOrder order("tr", openIcuCollator);
  const auto ranks = LetterTable::make(order);
  ASSERT_TRUE(ranks);
  EXPECT_LT(ranks->rank('h'), ranks->rank('I'));
  EXPECT_LT(ranks->rank('I'), ranks->rank('i'));
  EXPECT_EQ(ranks->fold('I'), u'\u0131');
}

TEST(LetterTable, EstonianSortsZByItsOwnRule) {
  TitleOrder order("et", openIcuCollator);
  const auto ranks = LetterTable::make(order);
  ASSERT_TRUE(ranks);
  EXPECT_LT(ranks->rank('s'), ranks->rank('z'));
  EXPECT_LT(ranks->rank('z'), ranks->rank('t'));
}

TEST(LetterTable, HasNoTableWithoutACollator) {
  TitleOrder order("en_US", [](const char*) -> UCollator* { return nullptr; });
  EXPECT_FALSE(LetterTable::make(order));
}

TEST(LetterTable, ALetterThatExpandsEqualsItsSpelling) {
  TitleOrder order("", [](const char*) {
    UErrorCode status = U_ZERO_ERROR;
    return ucol_openRules(u"&áb=–", -1, UCOL_OFF, UCOL_DEFAULT_STRENGTH, nullptr, &status);
  });
  auto table = LetterTable::make(order);
  ASSERT_TRUE(table);
  table->extend();
  for (const std::string end : {"", "b", "é"}) {
    std::vector<std::uint8_t> spelled;
    std::vector<std::uint8_t> letter;
    ASSERT_TRUE(table->appendKey("áb" + end, spelled));
    ASSERT_TRUE(table->appendKey("–" + end, letter));
    EXPECT_EQ(letter, spelled) << end;
  }
}

/// A table of a locale that has one, extended, and its order.
class LetterTableTest : public testing::Test {
 protected:
  void open(const char* locale) {
    table_.reset();
    order_.emplace(locale, openIcuCollator);
    table_ = LetterTable::make(*order_);
    ASSERT_TRUE(table_) << locale;
    table_->extend();
  }

  [[nodiscard]] bool covers(std::string_view title) {
    std::vector<std::uint8_t> keys{7};
    const bool covered = table_->appendKey(title, keys);
    EXPECT_EQ(keys.size() > 1, covered && !title.empty()) << "a title that is not covered leaves nothing behind";
    return covered;
  }

  [[nodiscard]] std::vector<std::uint8_t> key(std::string_view title) {
    std::vector<std::uint8_t> bytes;
    EXPECT_TRUE(table_->appendKey(title, bytes)) << title;
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0), 0) << title;
    return bytes;
  }

 private:
  std::optional<TitleOrder> order_;
  std::optional<LetterTable> table_;
};

TEST_F(LetterTableTest, CoversCommonMarksInEveryLocaleWithATable) {
  for (const std::string& locale : collation_test::collationLocales()) {
    TitleOrder order(locale, openIcuCollator);
    auto table = LetterTable::make(order);
    if (!table) continue;
    table->extend();
    std::vector<std::uint8_t> keys;
    EXPECT_TRUE(table->appendKey("a – b — c • “d” „e” ‘f’s « × ® © \u00A0 → · é", keys) || locale.starts_with("zh") ||
                locale == "fr_CA")
        << locale;
  }
}

TEST_F(LetterTableTest, CoversNoTitleThatIcuTreatsAsAGroup) {
  std::size_t checked = 0;
  for (const std::string& locale : collation_test::collationLocales()) {
    TitleOrder order(locale, openIcuCollator);
    auto table = LetterTable::make(order);
    if (!table) continue;
    table->extend();
    for (const std::u16string& group : contractions(order)) {
      const std::u16string title = composed(group);
      const std::string text = collation_test::utf8(title);
      std::u16string fold;
      order.appendFold(text, fold);
      if (title.size() < 2 || fold != group)
        continue;  // one letter with its marks, or capitals, which no fold contains
      std::vector<std::uint8_t> keys;
      EXPECT_FALSE(table->appendKey(text, keys)) << locale << ": " << text;
      ++checked;
    }
  }
  EXPECT_GT(checked, casesOf(10'000));
}

TEST_F(LetterTableTest, AccentsDecideOnlyBetweenTheSameLetters) {
  open("en_US");
  EXPECT_LT(key("resume"), key("résumé"));
  EXPECT_LT(key("résumé"), key("resumes"));
  EXPECT_LT(key("resumé"), key("résume"));
  EXPECT_LT(key("cote"), key("coté"));
  EXPECT_LT(key("coté"), key("côte"));
  EXPECT_LT(key("côte"), key("côté"));
  EXPECT_EQ(key("ÉCOLE"), key("école"));
}

TEST_F(LetterTableTest, LettersWithSeveralElementsEqualTheirSpelling) {
  open("en_US");
  EXPECT_EQ(key("Straße"), key("STRASSE"));
  EXPECT_EQ(key("wait…"), key("wait..."));
  EXPECT_EQ(key("a\u00A0b"), key("a b"));
  EXPECT_LT(key("aeon"), key("æon"));
  EXPECT_LT(key("æon"), key("aeons"));
  EXPECT_EQ(key("½"), key("1\u20442"));
}

TEST_F(LetterTableTest, LanguagesHaveLettersOfTheirOwn) {
  open("sv_SE");
  EXPECT_LT(key("Zoo"), key("Åka"));
  EXPECT_LT(key("Åka"), key("Äta"));
  EXPECT_LT(key("Äta"), key("Öl"));
  open("de_DE");
  EXPECT_LT(key("Öl"), key("Zoo"));
  EXPECT_LT(key("Ol"), key("Öl"));
  open("de@collation=phonebook");
  EXPECT_LT(key("Muella"), key("Müller"));
  EXPECT_LT(key("Müller"), key("Muelles"));
  open("es");
  EXPECT_LT(key("nz"), key("ña"));
  EXPECT_LT(key("ñz"), key("oa"));
  open("ru");
  EXPECT_LT(key("яблоко"), key("apple")) << "Cyrillic before Latin";
  open("tr");
  EXPECT_EQ(key("İstanbul"), key("istanbul"));
  EXPECT_EQ(key("Isparta"), key("ısparta"));
  EXPECT_LT(key("Isparta"), key("İsparta"));
}

TEST_F(LetterTableTest, LeavesUnclearTitlesToIcu) {
  open("en_US");
  EXPECT_TRUE(covers("co·o"));
  for (const char* title : {"col·lecció", "L·l", "·l", "co·l", "cafe\u0301", "soft\u00ADhyphen", "tab\t", "日本",
                            "\U0001F600", "broken \xC3", "broken \xC3(", "\xED\xA0\x80", "a\u200Bb", "\x7F"}) {
    EXPECT_FALSE(covers(title)) << title;
  }
  EXPECT_FALSE(covers(std::string_view("a\0b", 3)));
  open("mt");
  EXPECT_FALSE(covers("Għawdex")) << "one letter";
  EXPECT_TRUE(covers("ħobb"));
  EXPECT_FALSE(covers("żejt")) << "a letter before z";
  open("fr_CA");
  EXPECT_FALSE(covers("côté"));
  EXPECT_TRUE(covers("a – b"));
  open("zh");
  EXPECT_FALSE(covers("ā")) << "Pinyin puts it before a";
  EXPECT_TRUE(covers("a – b"));
}

TEST_F(LetterTableTest, LeavesLettersWithUnknownPartsToIcu) {
  open("en_US_POSIX");
  EXPECT_FALSE(covers("wait…")) << "its dots are not those of ASCII here";
  EXPECT_TRUE(covers("a – b"));
}

TEST_F(LetterTableTest, LeavesTitlesOfExtremeLengthToIcu) {
  open("en_US");
  EXPECT_FALSE(covers(std::string(kMaxTitleUnits, 'a')));
}

TEST_F(LetterTableTest, APrefixHasTheLowerKey) {
  open("en_US");
  const std::vector<std::string> titles{"", "e", "é", "éa", "éa–", "éa–…", "éa–…b", "éa–…bß", "éa–…bßü"};
  for (std::size_t i = 1; i < titles.size(); ++i) EXPECT_LT(key(titles[i - 1]), key(titles[i])) << titles[i];
}

TEST(LetterTable, DetectsPrintableAscii) {
  EXPECT_TRUE(LetterTable::isPrintableAscii(""));
  for (int byte = 0; byte < 256; ++byte) {
    for (std::size_t length = 1; length <= 17; ++length) {
      for (std::size_t at = 0; at < length; ++at) {
        std::string title(length, '~');
        title[at] = static_cast<char>(byte);
        EXPECT_EQ(LetterTable::isPrintableAscii(title), byte >= 0x20 && byte <= 0x7E)
            << byte << " at " << at << " of " << length;
      }
    }
  }
}

}  // namespace
}  // namespace tarvel
