#include "platform/collation/ascii_ranks.h"

#include <gtest/gtest.h>
#include <unicode/ucol.h>
#include <unicode/uset.h>

#include <algorithm>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "platform/collation/title_order.h"
#include "tests/platform/collation/collation_support.h"

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

TEST(AsciiRanks, HasATableExactlyWhereIcuTreatsEachAsciiLetterAlone) {
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
    const bool table = AsciiRanks::prove(order).has_value();
    EXPECT_EQ(table, !grouped && !sharesALetter(locale, alphabet)) << locale;
    ++(table ? proven : refused);
  }
  std::cout << proven << " locales with a table, " << refused << " without\n";
  EXPECT_GT(proven, 0U);
  EXPECT_GT(refused, 0U);
}

TEST(AsciiRanks, LettersThatDifferOnlyInCaseShareARank) {
  TitleOrder order("en_US", openIcuCollator);
  const auto ranks = AsciiRanks::prove(order);
  ASSERT_TRUE(ranks);
  EXPECT_EQ(ranks->rank('a'), ranks->rank('A'));
  EXPECT_LT(ranks->rank('A'), ranks->rank('b'));
  EXPECT_LT(ranks->rank(' '), ranks->rank('-'));
  EXPECT_LT(ranks->rank('9'), ranks->rank('a'));
  EXPECT_GE(ranks->rank(' '), 1);
}

TEST(AsciiRanks, TheTurkishTableSeparatesDottedAndDotlessI) {
  TitleOrder order("tr", openIcuCollator);
  const auto ranks = AsciiRanks::prove(order);
  ASSERT_TRUE(ranks);
  EXPECT_LT(ranks->rank('h'), ranks->rank('I'));
  EXPECT_LT(ranks->rank('I'), ranks->rank('i'));
  EXPECT_EQ(ranks->fold('I'), u'\u0131');
}

TEST(AsciiRanks, EstonianSortsZByItsOwnRule) {
  TitleOrder order("et", openIcuCollator);
  const auto ranks = AsciiRanks::prove(order);
  ASSERT_TRUE(ranks);
  EXPECT_LT(ranks->rank('s'), ranks->rank('z'));
  EXPECT_LT(ranks->rank('z'), ranks->rank('t'));
}

TEST(AsciiRanks, HasNoTableWithoutACollator) {
  TitleOrder order("en_US", [](const char*) -> UCollator* { return nullptr; });
  EXPECT_FALSE(AsciiRanks::prove(order));
}

TEST(AsciiRanks, OnlyPrintableAsciiIsCovered) {
  EXPECT_TRUE(AsciiRanks::covers(""));
  for (int byte = 0; byte < 256; ++byte) {
    for (std::size_t length = 1; length <= 17; ++length) {
      for (std::size_t at = 0; at < length; ++at) {
        std::string title(length, '~');
        title[at] = static_cast<char>(byte);
        EXPECT_EQ(AsciiRanks::covers(title), byte >= 0x20 && byte <= 0x7E) << byte << " at " << at << " of " << length;
      }
    }
  }
}

}  // namespace
}  // namespace tarvel
