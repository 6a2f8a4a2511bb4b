#include "platform/linux/base/user_languages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(UserLanguages, ALocaleGivesItsRegionInBothSpellingsThenTheLanguage) {
  EXPECT_THAT(preferredLanguages({.lang = "de_AT.UTF-8@euro"}), ElementsAre("de_AT", "de-AT", "de"));
  EXPECT_THAT(preferredLanguages({.lang = "de.UTF-8"}), ElementsAre("de"));
  EXPECT_THAT(preferredLanguages({.lang = "zh_Hant_TW"}), ElementsAre("zh_Hant_TW", "zh-Hant-TW", "zh"));
}

TEST(UserLanguages, TheLocaleVariableWithTheHighestPrecedenceIsUsed) {
  EXPECT_THAT(preferredLanguages({.lcAll = "sv_SE", .lcMessages = "fr_FR", .lang = "de_DE"}),
              ElementsAre("sv_SE", "sv-SE", "sv"));
  EXPECT_THAT(preferredLanguages({.lcMessages = "fr", .lang = "de"}), ElementsAre("fr"));
  EXPECT_THAT(preferredLanguages({.lang = "de"}), ElementsAre("de"));
}

TEST(UserLanguages, LanguageOverridesTheLocaleAndKeepsItsOrder) {
  EXPECT_THAT(preferredLanguages({.language = "sv:de_AT:de_DE:fr", .lang = "ja_JP.UTF-8"}),
              ElementsAre("sv", "de_AT", "de-AT", "de", "de_DE", "de-DE", "fr"));
  EXPECT_THAT(preferredLanguages({.language = "pt-BR", .lang = "ja"}), ElementsAre("pt-BR", "pt_BR", "pt"));
}

TEST(UserLanguages, EnglishEndsTheList) {
  EXPECT_THAT(preferredLanguages({.language = "fr:en_GB:de", .lang = "de_DE"}), ElementsAre("fr"));
  EXPECT_THAT(preferredLanguages({.language = "de:C:fr", .lang = "de_DE"}), ElementsAre("de"));
  EXPECT_THAT(preferredLanguages({.language = "en", .lang = "de_DE"}), IsEmpty());
  EXPECT_THAT(preferredLanguages({.lang = "en_US.UTF-8"}), IsEmpty());
  // Another language whose code begins with the same letters.
  EXPECT_THAT(preferredLanguages({.lang = "enm"}), ElementsAre("enm"));
}

TEST(UserLanguages, WithoutALocaleOrInTheCLocaleLanguageIsIgnored) {
  EXPECT_THAT(preferredLanguages({}), IsEmpty());
  EXPECT_THAT(preferredLanguages({.language = "de"}), IsEmpty());
  for (const char* plain : {"C", "POSIX", "C.UTF-8"}) {
    EXPECT_THAT(preferredLanguages({.language = "de", .lcAll = plain, .lang = "de_DE"}), IsEmpty()) << plain;
  }
}

TEST(UserLanguages, EmptyEntriesOfTheListAreIgnored) {
  EXPECT_THAT(preferredLanguages({.language = ":fr::de:", .lang = "ja"}), ElementsAre("fr", "de"));
}

TEST(UserLanguages, ANameThatLeadsOutOfAFolderIsRejected) {
  EXPECT_THAT(preferredLanguages({.language = "../../etc:/etc/de:de/..:a b:\xC3\xA9:fr", .lang = "ja"}),
              ElementsAre("fr"));
  EXPECT_THAT(preferredLanguages({.lang = "/usr/share/locale/de"}), IsEmpty());
}

}  // namespace
}  // namespace tarvel
