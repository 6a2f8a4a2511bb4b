#include "platform/collation/alphabet.h"

#include <gtest/gtest.h>
#include <unicode/ucol.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "platform/collation/utf16_text.h"
#include "tests/platform/collation/collation_support.h"

namespace tarvel {
namespace {

std::u16string letterFold(TitleOrder& order, std::string_view title) {
  std::u16string fold;
  order.appendFold(title, fold);
  return fold;
}

Alphabet::Number numberIn(const Alphabet& alphabet, std::string_view character) {
  std::size_t at = 0;
  return alphabet.numberOf(nextCharacter(character, at));
}

/// An alphabet with everything added, of a locale for which printable ASCII is verified.
Alphabet fullAlphabet(TitleOrder& order) {
  Alphabet alphabet = *Alphabet::ofAscii(order);
  alphabet.addOthers();
  return alphabet;
}

TEST(Alphabet, TheFoldOfATitleIsThatOfItsCharacters) {
  for (const char* locale : {"en_US", "tr"}) {
    TitleOrder order(locale, openIcuCollator);
    const std::vector<std::string> characters = collation_test::coveredCharacters(locale);
    EXPECT_GT(characters.size(), 400U);
    for (const std::string& a : characters) {
      const std::u16string fold = letterFold(order, a);
      for (const std::string& b : characters) {
        ASSERT_EQ(letterFold(order, a + b), fold + letterFold(order, b)) << locale << ": " << a << b;
      }
    }
  }
}

TEST(Alphabet, CommonMarksAndLettersAreInTheAlphabet) {
  TitleOrder order("en_US", openIcuCollator);
  Alphabet alphabet = fullAlphabet(order);
  for (const char* character :
       {"–", "—", "·", "•", "’", "‘", "“", "”", "„", "…", "«", "»", "×", "®", "™", "©", "\u00A0",
        "→", "é", "ü", "ñ", "ł", "ø", "ß", "æ", "å", "Ł", "Ș", "€", "ω", "Ω", "й", "Ж"}) {
    const Alphabet::Number letter = numberIn(alphabet, character);
    ASSERT_NE(letter, Alphabet::kNone) << character;
    EXPECT_TRUE(alphabet.verify(letter)) << character;
  }
}

TEST(Alphabet, CharactersWithoutALetterOfTheirOwnAreNotInTheAlphabet) {
  TitleOrder order("en_US", openIcuCollator);
  const Alphabet alphabet = fullAlphabet(order);
  for (const char* character : {"\u00AD", "\u0301", "\u0149", "\u200B", "\u0345", "中", "\U0001F600", "\x01", "\x7F"}) {
    EXPECT_EQ(numberIn(alphabet, character), Alphabet::kNone) << character;
  }
}

TEST(Alphabet, AMarkThatFormsALetterWithANeighbourClashesWithIt) {
  TitleOrder order("en_US", openIcuCollator);
  Alphabet alphabet = fullAlphabet(order);
  const Alphabet::Number dot = numberIn(alphabet, "·");
  ASSERT_TRUE(alphabet.verify(dot));
  EXPECT_TRUE(alphabet.hasClashes(dot));
  EXPECT_TRUE(alphabet.clash(dot, numberIn(alphabet, "l")));
  EXPECT_TRUE(alphabet.clash(numberIn(alphabet, "L"), dot));
  EXPECT_FALSE(alphabet.clash(dot, numberIn(alphabet, " ")));
  EXPECT_FALSE(alphabet.hasClashes(numberIn(alphabet, "k")));
}

const char16_t* rules = u"";

/// ICU's root order with `rules` added.
UCollator* openRules(const char*) {
  UErrorCode status = U_ZERO_ERROR;
  return ucol_openRules(rules, -1, UCOL_OFF, UCOL_DEFAULT_STRENGTH, nullptr, &status);
}

/// Whether a title may contain `characters` side by side.
bool mayBeNeighbours(Alphabet& alphabet, const std::vector<const char*>& characters) {
  Alphabet::Number previous = Alphabet::kNone;
  for (const char* character : characters) {
    const Alphabet::Number letter = numberIn(alphabet, character);
    if (letter == Alphabet::kNone || !alphabet.verify(letter)) return false;
    if (previous != Alphabet::kNone && alphabet.clash(previous, letter)) return false;
    previous = letter;
  }
  return true;
}

TEST(Alphabet, DoesNotExistIfAsciiCharactersFormGroupsOrShareALetter) {
  for (const char16_t* language : {u"&z<a1", u"&z<1a", u"&z<11", u"&c<ch", u"&c<c''h", u"&a<<<b", u"&a<<b"}) {
    rules = language;
    TitleOrder order("", openRules);
    ASSERT_NE(order.collator(), nullptr);
    EXPECT_FALSE(Alphabet::ofAscii(order)) << collation_test::utf8(language);
  }
  rules = u"&z<b";
  TitleOrder order("", openRules);
  EXPECT_TRUE(Alphabet::ofAscii(order)) << "another order is no obstacle";
}

TEST(Alphabet, GroupsOfTwoClashInEitherPosition) {
  struct Case {
    const char16_t* rules;
    std::vector<const char*> group;
  };
  for (const Case& test :
       {Case{u"&z<éa", {"é", "a"}}, Case{u"&z<aé", {"a", "é"}}, Case{u"&z<éñ", {"é", "ñ"}}, Case{u"&z<ñé", {"ñ", "é"}},
        Case{u"&z<éé", {"é", "é"}}, Case{u"&z<a–", {"a", "–"}}, Case{u"&z<–’", {"–", "’"}}}) {
    rules = test.rules;
    TitleOrder order("", openRules);
    Alphabet alphabet = fullAlphabet(order);
    EXPECT_FALSE(mayBeNeighbours(alphabet, test.group)) << test.group[0] << test.group[1];
    EXPECT_TRUE(mayBeNeighbours(alphabet, {"b", "ü", "b"}));
  }
}

TEST(Alphabet, AMarkThatJoinsLettersIntoOneIsNotVerified) {
  for (const char16_t* group : {u"&c<c’h", u"&c<c‐h"}) {
    rules = group;
    TitleOrder order("", openRules);
    Alphabet alphabet = fullAlphabet(order);
    EXPECT_NE(mayBeNeighbours(alphabet, {"’"}), mayBeNeighbours(alphabet, {"‐"}));
    EXPECT_TRUE(mayBeNeighbours(alphabet, {"c", "é", "h"}));
  }
}

TEST(Alphabet, AnAccentedLetterBeforeItsBaseIsNotInTheAlphabet) {
  for (const char16_t* before : {u"&[before 1]e<é", u"&[before 2]e<<é"}) {
    rules = before;
    TitleOrder order("", openRules);
    const Alphabet alphabet = fullAlphabet(order);
    EXPECT_EQ(numberIn(alphabet, "é"), Alphabet::kNone);
    EXPECT_EQ(numberIn(alphabet, "É"), Alphabet::kNone);
    EXPECT_NE(numberIn(alphabet, "è"), Alphabet::kNone);
  }
}

TEST(Alphabet, AVariantBelowThePlainCharacterIsNotInTheAlphabet) {
  rules = u"&[before 2]–<<—";
  TitleOrder order("", openRules);
  const Alphabet alphabet = fullAlphabet(order);
  EXPECT_EQ(numberIn(alphabet, "—"), Alphabet::kNone);
  EXPECT_NE(numberIn(alphabet, "–"), Alphabet::kNone);
}

TEST(Alphabet, AccentsComparedFromTheEndAreNotInTheAlphabet) {
  TitleOrder order("fr_CA", openIcuCollator);
  const Alphabet alphabet = fullAlphabet(order);
  EXPECT_EQ(numberIn(alphabet, "é"), Alphabet::kNone);
  EXPECT_NE(numberIn(alphabet, "–"), Alphabet::kNone);
  EXPECT_NE(numberIn(alphabet, "ß"), Alphabet::kNone);
}

TEST(Alphabet, ALetterThatIcuIgnoresIsNotInTheAlphabet) {
  rules = u"&\u0301=’";
  TitleOrder order("", openRules);
  const Alphabet alphabet = fullAlphabet(order);
  EXPECT_EQ(numberIn(alphabet, "’"), Alphabet::kNone);
  EXPECT_NE(numberIn(alphabet, "‘"), Alphabet::kNone);
}

TEST(AllSequences, HoldsEverySequenceOnce) {
  for (const std::size_t count : {1U, 2U, 5U}) {
    for (const std::size_t length : {1U, 2U, 3U}) {
      const std::vector<std::size_t> sequence = allSequences(count, length);
      std::set<std::vector<std::size_t>> seen;
      for (std::size_t at = 0; at + length <= sequence.size(); ++at) {
        const auto begin = sequence.begin() + static_cast<std::ptrdiff_t>(at);
        EXPECT_TRUE(seen.emplace(begin, begin + static_cast<std::ptrdiff_t>(length)).second);
      }
      std::size_t all = 1;
      for (std::size_t i = 0; i < length; ++i) all *= count;
      EXPECT_EQ(seen.size(), all) << count << " " << length;
    }
  }
}

}  // namespace
}  // namespace tarvel
