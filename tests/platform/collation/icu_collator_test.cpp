#include "platform/collation/icu_collator.h"

#include <gtest/gtest.h>

#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>

#include "tests/platform/collation/collation_support.h"
#include "tests/support/vectors.h"

namespace tarvel {
namespace {

using collation_test::compareTwo;
using collation_test::viewsOf;
using nlohmann::json;

const json& vectors() { return vectorFile("collate.json"); }

/// Has `collator` rank so much text that it makes its table.
void seeManyTitles(IcuCollator& collator) {
  constexpr std::string_view kTitle = "title";
  const std::vector<std::string_view> titles(kTextWorthATable / kTitle.size() + 1, kTitle);
  EXPECT_EQ(collator.rank(titles), std::vector<std::uint32_t>(titles.size()));
}

TEST(IcuCollator, EveryTwoTitlesOfAFolderCompareAsOnTheOriginalPlatform) {
  const json& data = vectors();
  const auto titles = data["titles"].get<std::vector<std::string>>();
  std::size_t checked = 0;
  for (const auto& [locale, groups] : data["orderings"].items()) {
    std::vector<std::int64_t> expected(titles.size());
    std::int64_t group = 0;
    for (const auto& members : groups) {
      for (const std::size_t title : members) expected[title] = group;
      ++group;
    }
    IcuCollator collator(locale);
    const std::vector<std::uint32_t> ranks = collator.rank(viewsOf(titles));
    seeManyTitles(collator);
    EXPECT_EQ(collator.rank(viewsOf(titles)), ranks) << "with a table, where there is one";
    for (std::size_t a = 0; a < titles.size(); ++a) {
      for (std::size_t b = 0; b < titles.size(); ++b) {
        ++checked;
        EXPECT_EQ(collation_test::sign(std::int64_t{ranks[a]} - ranks[b]),
                  collation_test::sign(expected[a] - expected[b]))
            << locale << ": " << titles[a] << " | " << titles[b];
      }
    }
  }
  EXPECT_EQ(checked, data["orderings"].size() * titles.size() * titles.size());
  EXPECT_GT(checked, 0U);
}

TEST(IcuCollator, HostilePairsCompareAsOnTheOriginalPlatformBut3In1000) {
  const json& data = vectors();
  int checked = 0;
  int missed = 0;
  for (const std::string locale : data["locales"]) {
    IcuCollator collator(locale);
    for (const json& pair : data["pairs"]) {
      if (!pair["r"].contains(locale)) continue;
      const auto a = pair["a"].get<std::string>();
      const auto b = pair["b"].get<std::string>();
      const int expected = pair["r"][locale];
      checked += 2;
      missed += compareTwo(collator, a, b) != expected ? 1 : 0;
      missed += compareTwo(collator, b, a) != -expected ? 1 : 0;
    }
  }
  RecordProperty("checked", checked);
  RecordProperty("missed", missed);
  std::cout << missed << " of " << checked << " differ\n";
  ASSERT_GT(checked, 0);
  EXPECT_LE(missed * 1000, checked * 3);
}

TEST(IcuCollator, Item10SortsBeforeItem2) {
  IcuCollator collator("en_US");
  EXPECT_EQ(compareTwo(collator, "Item 10", "Item 2"), -1);
  EXPECT_EQ(compareTwo(collator, "Ítem 10", "Ítem 2"), -1);
}

TEST(IcuCollator, AppleAndCapitalAppleCompareTheSame) {
  IcuCollator collator("en_US");
  EXPECT_EQ(compareTwo(collator, "apple", "Apple"), 0);
  EXPECT_EQ(compareTwo(collator, "ÉCOLE", "école"), 0);
}

TEST(IcuCollator, LongPrefixesSortByLengthAndTieIfOnlyCaseDiffers) {
  // More than the table waits for, in two spellings of each, with and without an accent.
  for (const std::string start : {"news", "n\xC3\xA9ws"}) {
    std::vector<std::string> texts;
    for (std::string title = start; texts.size() < 6000; title += " " + std::to_string(texts.size() % 10)) {
      texts.push_back(title);
      texts.push_back("N" + title.substr(1));
    }
    const std::vector<std::string_view> titles(texts.rbegin(), texts.rend());
    IcuCollator collator("en_US");
    const auto ranks = collator.rank(titles);
    for (std::size_t i = 0; i + 2 < titles.size(); i += 2) {
      ASSERT_EQ(ranks[i], ranks[i + 1]);
      ASSERT_GT(ranks[i], ranks[i + 2]);
    }
  }
}

TEST(IcuCollator, AnAccentDecidesOnlyBetweenTheSameLetters) {
  IcuCollator collator("en_US");
  EXPECT_EQ(compareTwo(collator, "resume", "résumé"), -1);
  EXPECT_EQ(compareTwo(collator, "résumé", "resumes"), -1);
  EXPECT_EQ(compareTwo(collator, "cafe\u0301", "café"), 0) << "one letter written in two ways";
}

TEST(IcuCollator, SpacesAndPunctuationCount) {
  IcuCollator collator("en_US");
  EXPECT_EQ(compareTwo(collator, "a b", "ab"), -1);
  EXPECT_EQ(compareTwo(collator, "a-b", "ab"), -1);
  EXPECT_EQ(compareTwo(collator, "a b", "a-b"), -1);
}

TEST(IcuCollator, ATitleComesBeforeThoseItBegins) {
  IcuCollator collator("");
  EXPECT_EQ(compareTwo(collator, "", "a"), -1);
  EXPECT_EQ(compareTwo(collator, "News", "newspaper"), -1);
  EXPECT_EQ(compareTwo(collator, "a", "a\u200B"), -1) << "a character ICU ignores";
  EXPECT_EQ(compareTwo(collator, "\u0627", "\u0625"), -1)
      << "alef with hamza is an earlier letter, but begins with alef";
}

TEST(IcuCollator, APrefixMovesUpOnlyToTitlesItBegins) {
  IcuCollator collator("");
  // Waw with hamza, yeh with hamza, alef, alef with hamza: alef is last of the four letters but begins the fourth.
  const std::vector<std::string> titles{"\u0624", "\u0626", "\u0627", "\u0625"};
  const std::vector<std::uint32_t> ranks = collator.rank(viewsOf(titles));
  EXPECT_LT(ranks[0], ranks[2]);
  EXPECT_LT(ranks[2], ranks[3]);
  EXPECT_LT(ranks[3], ranks[1]);
}

TEST(IcuCollator, IgnoredCharactersInsideATitleDoNotCount) {
  IcuCollator collator("");
  const std::vector<std::string> titles{"ab", "a\u200Bb", "ab\u200B", "abc"};
  const std::vector<std::uint32_t> ranks = collator.rank(viewsOf(titles));
  EXPECT_EQ(ranks[0], ranks[1]);
  EXPECT_LT(ranks[0], ranks[2]);
  EXPECT_LT(ranks[2], ranks[3]);
}

TEST(IcuCollator, SwedishPutsItsOwnLettersLast) {
  IcuCollator swedish("sv_SE");
  IcuCollator german("de_DE");
  EXPECT_EQ(compareTwo(swedish, "Öl", "Zoo"), 1);
  EXPECT_EQ(compareTwo(german, "Öl", "Zoo"), -1);
}

TEST(IcuCollator, GermanSharpSIsDoubleS) {
  IcuCollator collator("de_DE");
  EXPECT_EQ(compareTwo(collator, "Straße", "STRASSE"), 0);
  EXPECT_EQ(compareTwo(collator, "Straße", "Strasse"), 0);
}

TEST(IcuCollator, TurkishKeepsDottedAndDotlessIApart) {
  for (const char* locale : {"tr_TR", "az", "tr-TR"}) {
    IcuCollator collator(locale);
    EXPECT_EQ(compareTwo(collator, "I", "\u0131"), 0) << locale;
    EXPECT_EQ(compareTwo(collator, "\u0130stanbul", "istanbul"), 0) << locale;
    EXPECT_EQ(compareTwo(collator, "I\u0307stanbul", "istanbul"), 0) << locale;
    EXPECT_EQ(compareTwo(collator, "I", "i"), -1) << locale;
  }
  IcuCollator english("en_US");
  EXPECT_EQ(compareTwo(english, "I", "i"), 0);
}

TEST(IcuCollator, CzechKeepsChAsOneLetter) {
  IcuCollator collator("cs_CZ");
  EXPECT_EQ(compareTwo(collator, "chata", "hora"), 1);
  EXPECT_EQ(compareTwo(collator, "chata", "ikona"), -1);
}

TEST(IcuCollator, PolytonicIotaSubscriptIsAMarkAndSoIsItsSpelledOutForm) {
  IcuCollator collator("el");
  EXPECT_EQ(compareTwo(collator, "\u1FB3", "\u03B1\u0345"), 0) << "composed and decomposed";
  EXPECT_EQ(compareTwo(collator, "\u1FB3", "\u1FBC"), 0) << "small and capital";
  EXPECT_EQ(compareTwo(collator, "\u1FB3", "\u03B1\u03B9"), -1) << "alpha, then iota";
}

TEST(IcuCollator, LoneSurrogatesAreSortedLikeOtherCharacters) {
  IcuCollator collator("en_US");
  EXPECT_EQ(compareTwo(collator, "\xED\xA0\x80", "\xED\xA0\x80"), 0);
  EXPECT_NE(compareTwo(collator, "\xED\xA0\x80", "\xED\xA0\x81"), 0);
  EXPECT_EQ(compareTwo(collator, "x\xED\xA0\x80", "X\xED\xA0\x80"), 0);
  EXPECT_EQ(compareTwo(collator, "x", "x\xED\xA0\x80"), -1);
  EXPECT_EQ(compareTwo(collator, "\xED\xA0\xBD\xED\xB8\x80", "\U0001F600"), 0) << "a pair in two sequences";
}

TEST(IcuCollator, MalformedBytesAreReplacementCharacters) {
  IcuCollator collator("en_US");
  EXPECT_EQ(compareTwo(collator, "a\xFFz", "a\uFFFDz"), 0);
  EXPECT_EQ(compareTwo(collator, "a\xC3", "a\uFFFD"), 0);
}

TEST(IcuCollator, NulDoesNotEndATitle) {
  IcuCollator collator("en_US");
  using namespace std::string_view_literals;
  EXPECT_EQ(compareTwo(collator, "a\0b"sv, "a\0c"sv), -1);
  EXPECT_EQ(compareTwo(collator, "a"sv, "a\0"sv), -1);
}

TEST(IcuCollator, RanksDoNotDependOnHowManyTitlesAreExpected) {
  std::mt19937 random(29);
  const std::vector<std::string> characters = collation_test::coveredCharacters("en_US");
  IcuCollator unprepared("en_US");
  IcuCollator prepared("en_US");
  prepared.expectTitles(1'000'000);
  IcuCollator misled("en_US");
  misled.expectTitles(1);
  for (int folder = 0; folder < 400; ++folder) {
    const std::vector<std::string> titles = collation_test::randomTitles(random, 40, characters, 30);
    const std::vector<std::uint32_t> ranks = unprepared.rank(viewsOf(titles));
    ASSERT_EQ(prepared.rank(viewsOf(titles)), ranks);
    ASSERT_EQ(misled.rank(viewsOf(titles)), ranks);
  }
}

TEST(IcuCollator, FewTitlesNeedNoCollator) {
  static int opened;
  opened = 0;
  IcuCollator collator("en_US", [](const char*) -> UCollator* {
    ++opened;
    return nullptr;
  });
  EXPECT_TRUE(collator.rank({}).empty());
  const std::vector<std::string_view> one{"é"};
  EXPECT_EQ(collator.rank(one), std::vector<std::uint32_t>{0});
  EXPECT_EQ(opened, 0);
  EXPECT_EQ(compareTwo(collator, "a", "b"), -1);
  EXPECT_EQ(opened, 2) << "the locale, then the root locale";
}

TEST(IcuCollator, ALocaleIcuCannotOpenIsOrderedAsTheRootLocale) {
  IcuCollator collator("sv_SE", [](const char* locale) { return *locale == '\0' ? openIcuCollator("") : nullptr; });
  EXPECT_EQ(compareTwo(collator, "Öl", "Zoo"), -1);
  EXPECT_EQ(compareTwo(collator, "apple", "Apple"), 0);
}

TEST(IcuCollator, AnUnknownLocaleIsOrderedAsTheRootLocale) {
  for (const std::string& locale : {std::string("xx_YY"), std::string("not a locale"), std::string(5000, 'x')}) {
    IcuCollator collator(locale);
    EXPECT_EQ(compareTwo(collator, "Öl", "Zoo"), -1) << locale;
  }
}

TEST(IcuCollator, WithoutAnyCollatorFoldedTitlesAreOrderedByTheirUnits) {
  IcuCollator collator("en_US", [](const char*) -> UCollator* { return nullptr; });
  const std::vector<std::string> titles{"b", "Straße", "A", "STRASSE", "é", "a", "", "ab"};
  EXPECT_EQ(collator.rank(viewsOf(titles)), (std::vector<std::uint32_t>{4, 6, 1, 6, 5, 1, 0, 3}));
}

/// Sets environment variables and puts the old values back.
class Environment {
 public:
  Environment(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    if (value != nullptr) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment() {
    if (old_) {
      setenv(name_, old_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(IcuCollator, TheEnvironmentChoosesTheLocale) {
  const Environment all("LC_ALL", nullptr);
  const Environment collate("LC_COLLATE", "sv_SE.UTF-8");
  const Environment lang("LANG", "de_DE.UTF-8");
  const auto collator = IcuCollator::forEnvironment();
  EXPECT_EQ(collator->locale(), "sv_SE");
  EXPECT_EQ(compareTwo(*collator, "Öl", "Zoo"), 1);
}

}  // namespace
}  // namespace tarvel
