#include "update_check/plain_text.h"

#include <gtest/gtest.h>

namespace tarvel {
namespace {

TEST(PlainText, LettersDigitsSignsAndSpacesStayAsTheyAre) {
  std::string all;
  for (char c = ' '; c <= '~'; ++c) all.push_back(c);
  EXPECT_EQ(plainText(all), all);
}

TEST(PlainText, OtherBytesBecomeQuestionMarks) {
  EXPECT_EQ(plainText("a\x1b[2Jb\r\n\t\x7F"), "a?[2Jb????");
  EXPECT_EQ(plainText("\xC2\x9B"
                      "2J"),
            "??2J");
  EXPECT_EQ(plainText(std::string_view("\0\xFF", 2)), "??");
}

}  // namespace
}  // namespace tarvel
