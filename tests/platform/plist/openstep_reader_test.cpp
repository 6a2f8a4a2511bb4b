// The OpenStep reader's rules and its behaviour on hostile files.

#include "platform/plist/openstep_reader.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "tests/platform/plist/plist_support.h"
#include "tests/support/vector_tree.h"

namespace tarvel {
namespace {

using plist_test::bytesOf;
using plist_test::kShortening;
using plist_test::repeated;

std::string readOpenStepText(std::string_view text) {
  PropertyListTree tree;
  const TextReading reading = readOpenStep(bytesOf(text), tree);
  if (reading.error) return reading.error->description;
  return toJson(reading.root).dump();
}

std::size_t depthOfText(std::string_view text) {
  PropertyListTree tree;
  return plist_test::depthOf(readOpenStep(bytesOf(text), tree).root);
}

std::string string(std::string_view text) {
  PropertyListTree tree;
  return std::string(readOpenStep(bytesOf(text), tree).root.string().value_or("(no string)"));
}

TEST(OpenStepReader, OctalEscapesUseTheNextStepCharacterSet) {
  EXPECT_EQ(string(R"("\101\012\341\216\256")"), "A\n\u00C6\u00CE\uFB01");
  // The low eight bits of three digits are used; an unassigned code becomes zero.
  EXPECT_EQ(string(R"("\501")"), "A");
  EXPECT_EQ(string(R"("\376x")"), std::string("\0x", 2));
}

TEST(OpenStepReader, TwoUnicodeEscapesCanFormASurrogatePair) {
  EXPECT_EQ(string(R"("\UD83D\UDE00")"), "\U0001F600");
  EXPECT_EQ(string(R"("\UD83D.")"), "\xED\xA0\xBD.");
  EXPECT_EQ(string(R"("\U41g")"), "Ag");
}

TEST(OpenStepReader, ABackslashBeforeAnyOtherCharacterIsDropped) {
  EXPECT_EQ(string("'\\a\\b\\f\\n\\r\\t\\v\\\\\\'\\\u00e9'"), "\a\b\f\n\r\t\v\\'\u00e9");
}

TEST(OpenStepReader, EachQuoteMarkMayAppearWithinTheOther) {
  EXPECT_EQ(string("'a\"b'"), "a\"b");
  EXPECT_EQ(string("\"a'b\""), "a'b");
}

TEST(OpenStepReader, TheLastCommaOfAnArrayIsOptionalAndTheLastSemicolonOfADictionaryIsNot) {
  EXPECT_EQ(readOpenStepText("(a,)"), readOpenStepText("(a)"));
  EXPECT_EQ(readOpenStepText("{ a = b }"), "Missing ';' on line 1");
}

TEST(OpenStepReader, AKeyWithoutAValueIsItsOwnValue) {
  EXPECT_EQ(readOpenStepText("{ a; }"), readOpenStepText("{ a = a; }"));
}

TEST(OpenStepReader, AnArrayEndsAtAnUnreadableElement) {
  EXPECT_EQ(readOpenStepText("( a, { b = c; ) "), readOpenStepText("(a)"));
  EXPECT_EQ(readOpenStepText("( a, \"b)"), "Expected terminating ')' for array at line 1");
  EXPECT_EQ(readOpenStepText("( a, \")"), readOpenStepText("(a)"));
}

TEST(OpenStepReader, Nesting512ContainersIsReadAnd513Refused) {
  EXPECT_EQ(depthOfText(repeated("(", 512) + "x" + repeated(")", 512)), 512);
  EXPECT_EQ(readOpenStepText(repeated("(", 513) + "x" + repeated(")", 513)),
            "Expected terminating ')' for array at line 1");
  EXPECT_EQ(depthOfText(repeated("{a=", 512) + "x" + repeated(";}", 512)), 512);
  EXPECT_EQ(readOpenStepText(repeated("{a=", 513) + "x" + repeated(";}", 513)),
            "Too many nested arrays or dictionaries at line 1");
}

TEST(OpenStepReader, ErrorsNameTheirLine) {
  EXPECT_EQ(readOpenStepText("{\n a = b;\r\n c = \"d\r\";\r = }"), "Expected terminating '}' for dictionary at line 5");
}

TEST(OpenStepReader, TextThatEndsInABackslashIsRefused) {
  EXPECT_EQ(readOpenStepText("'\\"), "Unterminated backslash sequence on line 1");
  EXPECT_EQ(readOpenStepText("{ a = '\\"), "Unterminated backslash sequence on line 1");
  EXPECT_EQ(readOpenStepText("{ '\\"), "Expected terminating '}' for dictionary at line 1");
  EXPECT_EQ(readOpenStepText("('\\"), "Expected terminating ')' for array at line 1");
}

// The suite's time limit fails this test if time or memory is out of proportion.
TEST(OpenStepReader, HostileFilesFailQuickly) {
  EXPECT_EQ(readOpenStepText(repeated("(", 20000000 / kShortening)), "Expected terminating ')' for array at line 1");
  EXPECT_EQ(readOpenStepText(repeated("{a=", 20000000 / kShortening)),
            "Too many nested arrays or dictionaries at line 1");
  EXPECT_EQ(readOpenStepText("(" + repeated("{a=", 100) + repeated("(\"),", 2000000 / kShortening)),
            "Expected terminating ')' for array at line 1");
  EXPECT_EQ(readOpenStepText("(" + repeated("({),", 2000000 / kShortening)),
            "Expected terminating ')' for array at line 1");
  EXPECT_EQ(readOpenStepText(repeated("/* ", 10000000 / kShortening)), R"({"t":"dict","v":[]})");
  EXPECT_EQ(readOpenStepText(repeated("/**/", 5000000 / kShortening)), R"({"t":"dict","v":[]})");
  EXPECT_EQ(readOpenStepText("'" + repeated("\\1", 5000000 / kShortening)),
            "Unterminated quoted string starting on line 1");
  EXPECT_EQ(readOpenStepText("a" + repeated(" ", 10000000 / kShortening) + "b"),
            "Expected ';' or '=' after key at line 1");
}

}  // namespace
}  // namespace tarvel
