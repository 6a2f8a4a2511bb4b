#include "platform/collation/title_ranking.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <numeric>
#include <random>
#include <string>

#include "platform/collation/keyed_titles.h"
#include "tests/platform/collation/collation_support.h"

namespace tarvel {
namespace {

using collation_test::randomTitles;
using collation_test::viewsOf;

struct Language {
  explicit Language(const std::string& locale) : order(locale, openIcuCollator), letters(LetterTable::make(order)) {}

  [[nodiscard]] LetterTable* table() { return letters ? &*letters : nullptr; }

  TitleOrder order;
  std::optional<LetterTable> letters;
};

std::vector<std::u16string> foldsOf(TitleOrder& order, const std::vector<std::string>& titles) {
  std::vector<std::u16string> folds(titles.size());
  for (std::size_t i = 0; i < titles.size(); ++i) order.appendFold(titles[i], folds[i]);
  return folds;
}

bool begins(const std::u16string& a, const std::u16string& b) {
  return a.size() < b.size() && b.compare(0, a.size(), a) == 0;
}

/// How many times the usual effort random tests spend; more with TARVEL_COLLATION_ROUNDS set to a number.
std::size_t rounds() {
  const char* text = std::getenv("TARVEL_COLLATION_ROUNDS");
  return text != nullptr ? std::max<std::size_t>(1, std::strtoul(text, nullptr, 10)) : 1;
}

/// Titles out of `all` in the forms most likely to show a wrong table: any character; few characters, so that titles
/// share long prefixes and letters meet in every order; few ASCII characters and one other.
std::vector<std::string> demandingTitles(std::mt19937& random, std::size_t count, const std::vector<std::string>& all) {
  std::vector<std::string> titles = randomTitles(random, count / 4, all, 40);
  for (std::size_t left = count - titles.size(); left > 0;) {
    std::vector<std::string> few;
    for (int i = 0; i < 3; ++i) few.push_back(all[random() % all.size()]);
    if (random() % 2 == 0) few.push_back(collation_test::printableAscii()[random() % 95]);
    const std::size_t part = std::min<std::size_t>(left, 25);
    for (std::string& title : randomTitles(random, part, few, 12)) titles.push_back(std::move(title));
    left -= part;
  }
  return titles;
}

std::vector<std::string> asciiTitles(std::mt19937& random, std::size_t count) {
  return demandingTitles(random, count, collation_test::printableAscii());
}

/// Titles that a table covers.
std::vector<std::string> coveredTitles(std::mt19937& random, std::size_t count, const std::string& locale) {
  return demandingTitles(random, count, collation_test::coveredCharacters(locale));
}

TEST(TitleRanking, TheTableAgreesWithIcuInEveryLocale) {
  std::mt19937 random(20240501);
  std::uint64_t pairs = 0;
  std::size_t locales = 0;
  std::size_t all = 0;
  std::size_t leftToIcu = 0;
  for (const std::string& locale : collation_test::collationLocales()) {
    Language language(locale);
    if (language.table() == nullptr) continue;
    ++locales;
    for (std::size_t round = 0; round < rounds(); ++round) {
      for (const auto& titles : {asciiTitles(random, 600), coveredTitles(random, 600, locale)}) {
        const auto views = viewsOf(titles);
        ASSERT_EQ(rankTitles(language.order, language.table(), views), rankTitles(language.order, nullptr, views))
            << locale;
        pairs += titles.size() * (titles.size() - 1) / 2;
        all += titles.size();
        leftToIcu += KeyedTitles(views, language.table()).others().size();
      }
    }
  }
  std::cout << pairs << " pairs in " << locales << " locales, " << leftToIcu << " of " << all
            << " titles left to ICU\n";
  EXPECT_GT(pairs, 1'000'000U);
  EXPECT_LT(leftToIcu, all / 50);
}

TEST(TitleRanking, TheTableAgreesWithDirectComparisonsByIcu) {
  std::mt19937 random(7);
  for (const char* locale : {"", "en_US", "tr_TR", "et", "ja", "zh", "sv", "fr_CA", "de@collation=phonebook", "ru"}) {
    Language language(locale);
    ASSERT_NE(language.table(), nullptr) << locale;
    for (std::size_t round = 0; round < rounds(); ++round) {
      const std::vector<std::string> titles = coveredTitles(random, 300, locale);
      const std::vector<std::u16string> folds = foldsOf(language.order, titles);
      const std::vector<std::uint32_t> ranks = rankTitles(language.order, language.table(), viewsOf(titles));
      for (std::size_t a = 0; a < titles.size(); ++a) {
        for (std::size_t b = 0; b < titles.size(); ++b) {
          ASSERT_EQ(collation_test::sign(std::int64_t{ranks[a]} - ranks[b]),
                    collation_test::sign(language.order.compare(folds[a], folds[b])))
              << locale << ": " << titles[a] << " | " << titles[b];
        }
      }
    }
  }
}

/// Titles of every kind: the recorded ones, odd ones, plain ones, and plain ones with an odd end.
std::vector<std::string> mixedTitles(std::mt19937& random) {
  std::vector<std::string> titles = collation_test::vectorStrings();
  const std::vector<std::string> odd = collation_test::oddCharacters();
  for (std::string& title : randomTitles(random, 300, odd, 4)) titles.push_back(std::move(title));
  for (std::string& title : asciiTitles(random, 300)) {
    titles.push_back(title + odd[random() % odd.size()]);
    titles.push_back(std::move(title));
  }
  for (std::string& title : coveredTitles(random, 300, "")) titles.push_back(std::move(title));
  return titles;
}

TEST(TitleRanking, MixedFoldersRankTheSameWithAndWithoutTheTable) {
  std::mt19937 random(11);
  for (const char* locale :
       {"", "en_US", "de", "sv", "da", "tr", "lt", "ja", "zh", "th", "ar", "fr_CA", "cs", "vi", "ko"}) {
    Language language(locale);
    for (std::size_t round = 0; round < rounds(); ++round) {
      std::vector<std::string> titles = mixedTitles(random);
      std::shuffle(titles.begin(), titles.end(), random);
      EXPECT_EQ(rankTitles(language.order, language.table(), viewsOf(titles)),
                rankTitles(language.order, nullptr, viewsOf(titles)))
          << locale;
      titles.resize(60);  // few enough odd ones to be compared directly
      EXPECT_EQ(rankTitles(language.order, language.table(), viewsOf(titles)),
                rankTitles(language.order, nullptr, viewsOf(titles)))
          << locale;
    }
  }
}

TEST(TitleRanking, SortKeysAgreeWithComparisons) {
  std::mt19937 random(13);
  for (const char* locale : {"", "en_US", "ja", "zh", "tr", "fr_CA", "th", "da"}) {
    Language language(locale);
    std::vector<std::string> titles = mixedTitles(random);
    std::shuffle(titles.begin(), titles.end(), random);
    titles.resize(500);
    const std::vector<std::u16string> folds = foldsOf(language.order, titles);
    std::vector<std::vector<std::uint8_t>> keys(folds.size());
    for (std::size_t i = 0; i < folds.size(); ++i) language.order.appendSortKey(folds[i], keys[i]);
    for (std::size_t a = 0; a < folds.size(); ++a) {
      for (std::size_t b = 0; b < folds.size(); ++b) {
        const int byKeys = keys[a] < keys[b] ? -1 : keys[b] < keys[a] ? 1 : 0;
        ASSERT_EQ(byKeys, collation_test::sign(language.order.compare(folds[a], folds[b])))
            << titles[a] << " | " << titles[b];
      }
    }
  }
}

TEST(TitleRanking, TheOrderOfTheInputDoesNotMatter) {
  std::mt19937 random(17);
  for (const char* locale : {"", "en_US", "ar", "cs", "tr"}) {
    Language language(locale);
    const std::vector<std::string> titles = mixedTitles(random);
    const std::vector<std::uint32_t> ranks = rankTitles(language.order, language.table(), viewsOf(titles));
    std::vector<std::size_t> shuffled(titles.size());
    std::iota(shuffled.begin(), shuffled.end(), std::size_t{0});
    std::shuffle(shuffled.begin(), shuffled.end(), random);
    std::vector<std::string_view> views;
    for (const std::size_t title : shuffled) views.push_back(titles[title]);
    const std::vector<std::uint32_t> again = rankTitles(language.order, language.table(), views);
    for (std::size_t i = 0; i < shuffled.size(); ++i) ASSERT_EQ(again[i], ranks[shuffled[i]]) << titles[shuffled[i]];
  }
}

/// `titles` by rank, with ties in the order given, and the ranks in that order.
std::pair<std::vector<std::string_view>, std::vector<std::uint32_t>> inOrder(
    const std::vector<std::string_view>& titles, const std::vector<std::uint32_t>& ranks) {
  std::vector<std::size_t> places(titles.size());
  std::iota(places.begin(), places.end(), std::size_t{0});
  std::stable_sort(places.begin(), places.end(), [&](std::size_t a, std::size_t b) { return ranks[a] < ranks[b]; });
  std::pair<std::vector<std::string_view>, std::vector<std::uint32_t>> ordered;
  for (const std::size_t place : places) {
    ordered.first.push_back(titles[place]);
    ordered.second.push_back(ranks[place]);
  }
  return ordered;
}

TEST(TitleRanking, TitlesInOrderAndWithOneOutOfPlaceRankLikeShuffledOnes) {
  std::mt19937 random(23);
  for (const char* locale : {"", "en_US", "ar", "cs", "tr", "fr_CA"}) {
    Language language(locale);
    std::vector<std::vector<std::string>> folders{mixedTitles(random), asciiTitles(random, 500)};
    if (language.table() != nullptr) folders.push_back(coveredTitles(random, 500, locale));
    for (std::vector<std::string>& titles : folders) {
      std::shuffle(titles.begin(), titles.end(), random);
      titles.resize(random() % 2 == 0 ? 500 : 60);
      std::copy_n(titles.begin(), 10, titles.end() - 10);
      for (LetterTable* table : {language.table(), static_cast<LetterTable*>(nullptr)}) {
        auto [views, ranks] = inOrder(viewsOf(titles), rankTitles(language.order, table, viewsOf(titles)));
        ASSERT_EQ(rankTitles(language.order, table, views), ranks) << locale;
        for (const std::size_t place : {std::size_t{0}, titles.size() / 2, titles.size() - 2}) {
          std::swap(views[place], views[place + 1]);
          std::swap(ranks[place], ranks[place + 1]);
          ASSERT_EQ(rankTitles(language.order, table, views), ranks) << locale << ": " << views[place];
        }
      }
    }
  }
}

/// The titles whose ranks differ from ICU's order by design: both of a pair of which one is a prefix of the other but
/// ICU does not put it first.
std::vector<bool> movedByPrefixRule(const TitleOrder& order, const std::vector<std::u16string>& folds) {
  std::vector<bool> moved(folds.size());
  for (std::size_t a = 0; a < folds.size(); ++a) {
    for (std::size_t b = 0; b < folds.size(); ++b) {
      if (begins(folds[a], folds[b]) && order.compare(folds[a], folds[b]) >= 0) moved[a] = moved[b] = true;
    }
  }
  return moved;
}

TEST(TitleRanking, EqualFoldsTieThenPrefixesThenIcu) {
  std::mt19937 random(19);
  for (const char* locale : {"", "en_US", "de", "ja", "ar", "tr", "cs"}) {
    Language language(locale);
    std::vector<std::string> titles = mixedTitles(random);
    std::shuffle(titles.begin(), titles.end(), random);
    titles.resize(700);
    const std::vector<std::u16string> folds = foldsOf(language.order, titles);
    const std::vector<bool> moved = movedByPrefixRule(language.order, folds);
    const std::vector<std::uint32_t> ranks = rankTitles(language.order, language.table(), viewsOf(titles));
    std::size_t byIcu = 0;
    for (std::size_t a = 0; a < folds.size(); ++a) {
      for (std::size_t b = 0; b < folds.size(); ++b) {
        if (folds[a] == folds[b]) {
          ASSERT_EQ(ranks[a], ranks[b]) << titles[a];
        } else if (begins(folds[a], folds[b])) {
          ASSERT_LT(ranks[a], ranks[b]) << titles[a] << " | " << titles[b];
        } else if (!begins(folds[b], folds[a]) && !moved[a] && !moved[b]) {
          ++byIcu;
          ASSERT_EQ(collation_test::sign(std::int64_t{ranks[a]} - ranks[b]),
                    collation_test::sign(language.order.compare(folds[a], folds[b])))
              << titles[a] << " | " << titles[b];
        }
      }
    }
    EXPECT_GT(byIcu, folds.size() * folds.size() / 2);
  }
}

TEST(TitleRanking, RanksCountTheTitlesBefore) {
  Language language("en_US");
  const std::vector<std::string_view> plain{"b", "A", "a", "c", "B"};
  EXPECT_EQ(rankTitles(language.order, language.table(), plain), (std::vector<std::uint32_t>{2, 0, 0, 4, 2}));
  const std::vector<std::string_view> mixed{"b", "É", "a", "é", "f"};
  EXPECT_EQ(rankTitles(language.order, language.table(), mixed), (std::vector<std::uint32_t>{1, 2, 0, 2, 4}));
}

TEST(TitleRanking, TitlesWithLongCommonPrefixesAreDistinguished) {
  Language language("en_US");
  const std::string prefix(1000, 'x');
  const std::vector<std::string> titles{prefix + "b",          prefix,       prefix + "A",
                                        prefix + "a" + prefix, prefix + "B", prefix + "\u00E9"};
  EXPECT_EQ(rankTitles(language.order, language.table(), viewsOf(titles)),
            (std::vector<std::uint32_t>{3, 0, 1, 2, 3, 5}));
  std::vector<std::string> plain(titles.begin(), titles.end() - 1);
  EXPECT_EQ(rankTitles(language.order, language.table(), viewsOf(plain)), (std::vector<std::uint32_t>{3, 0, 1, 2, 3}));
}

TEST(TitleRanking, ChainsOfPrefixesThatIcuIgnoresAreOrderedByLength) {
  Language language("en_US");
  std::vector<std::string> titles(1, "a");
  for (int i = 0; i < 200; ++i) titles.push_back(titles.back() + "\x01");
  const std::vector<std::uint32_t> ranks = rankTitles(language.order, language.table(), viewsOf(titles));
  for (std::size_t i = 0; i < titles.size(); ++i) EXPECT_EQ(ranks[i], i);
}

}  // namespace
}  // namespace tarvel
