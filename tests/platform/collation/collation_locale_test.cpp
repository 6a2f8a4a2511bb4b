#include "platform/collation/collation_locale.h"

#include <gtest/gtest.h>

namespace tarvel {
namespace {

TEST(CollationLocale, LcAllOverridesLcCollateOverridesLang) {
  EXPECT_EQ(collationLocale("de_DE", "sv_SE", "en_US"), "de_DE");
  EXPECT_EQ(collationLocale("", "sv_SE", "en_US"), "sv_SE");
  EXPECT_EQ(collationLocale("", "", "en_US"), "en_US");
  EXPECT_EQ(collationLocale("C", "sv_SE", "en_US"), "");
}

TEST(CollationLocale, CodesetAndModifierAreDropped) {
  EXPECT_EQ(collationLocale("", "", "de_DE.UTF-8@euro"), "de_DE");
  EXPECT_EQ(collationLocale("", "", "de_DE@euro"), "de_DE");
  EXPECT_EQ(collationLocale("", "", "tr_TR.ISO-8859-9"), "tr_TR");
}

TEST(CollationLocale, AModifierThatNamesAScriptIsKeptAsOne) {
  EXPECT_EQ(collationLocale("", "", "sr_RS.UTF-8@latin"), "sr_Latn_RS");
  EXPECT_EQ(collationLocale("", "", "uz_UZ@cyrillic"), "uz_Cyrl_UZ");
  EXPECT_EQ(collationLocale("", "", "ks@devanagari"), "ks_Deva");
}

TEST(CollationLocale, UnsetCAndPosixMeanTheRootLocale) {
  for (const char* value : {"", "C", "POSIX", "C.UTF-8", "POSIX.UTF-8", "/usr/share/locale/de", ".UTF-8", "@latin"}) {
    EXPECT_EQ(collationLocale("", "", value), "") << value;
  }
}

}  // namespace
}  // namespace tarvel
