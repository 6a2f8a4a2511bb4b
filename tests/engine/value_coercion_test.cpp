#include "engine/value_coercion.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/vectors.h"

namespace tarvel {
namespace {

struct ValueCoercion : testing::Test {
  nlohmann::json strings = vectorFile("strings.json");
  PropertyListTree tree;
};

TEST_F(ValueCoercion, TextsGiveTheIntegersTheOriginalGives) {
  ASSERT_FALSE(strings["int_value"]["cases"].empty());
  for (const auto& item : strings["int_value"]["cases"]) {
    EXPECT_EQ(intValueOfText(item["s"].get<std::string>()), item["int32"].get<std::int32_t>()) << item;
  }
}

TEST_F(ValueCoercion, TextsGiveTheTruthsTheOriginalGives) {
  ASSERT_FALSE(strings["bool_value_of_string"]["cases"].empty());
  for (const auto& item : strings["bool_value_of_string"]["cases"]) {
    EXPECT_EQ(boolValueOfText(item["s"].get<std::string>()), item["value"].get<bool>()) << item;
  }
}

TEST_F(ValueCoercion, NumbersGiveTheIntegersTheOriginalGives) {
  ASSERT_FALSE(strings["number_value"]["cases"].empty());
  for (const auto& item : strings["number_value"]["cases"]) {
    const std::string text = item["number"]["v"];
    const bool isReal = item["number"]["t"] == "real";
    const PropertyListValue number = isReal                ? tree.makeReal(std::strtod(text.c_str(), nullptr))
                                     : text.front() == '-' ? tree.makeInteger(std::stoll(text))
                                                           : tree.makeUnsigned(std::stoull(text));
    EXPECT_EQ(std::to_string(intValue(number)), item["int32"].get<std::string>()) << item;
  }
}

TEST_F(ValueCoercion, BlankTextsAreThoseTheOriginalTrimsToNothing) {
  ASSERT_FALSE(strings["trim_whitespace"]["cases"].empty());
  for (const auto& item : strings["trim_whitespace"]["cases"]) {
    EXPECT_EQ(isBlank(item["s"].get<std::string>()), item["empty"].get<bool>()) << item;
  }
}

TEST_F(ValueCoercion, AZeroWidthSpaceIsNoWhiteSpace) { EXPECT_FALSE(isBlank("\xE2\x80\x8B")); }

TEST_F(ValueCoercion, NumbersAreTrueUnlessZero) {
  EXPECT_FALSE(boolValue(tree.makeInteger(0)));
  EXPECT_TRUE(boolValue(tree.makeInteger(-1)));
  EXPECT_TRUE(boolValue(tree.makeInteger(INT64_MIN)));
  EXPECT_FALSE(boolValue(tree.makeReal(0)));
  EXPECT_FALSE(boolValue(tree.makeReal(-0.0)));
  EXPECT_TRUE(boolValue(tree.makeReal(0.1)));
  EXPECT_TRUE(boolValue(tree.makeReal(std::nan(""))));
}

TEST_F(ValueCoercion, BooleansAreThemselves) {
  EXPECT_TRUE(boolValue(tree.makeBoolean(true)));
  EXPECT_FALSE(boolValue(tree.makeBoolean(false)));
  EXPECT_EQ(intValue(tree.makeBoolean(true)), 1);
  EXPECT_EQ(intValue(tree.makeBoolean(false)), 0);
}

TEST_F(ValueCoercion, AnythingElseIsFalseAndZero) {
  for (const PropertyListValue& value : {PropertyListValue(), tree.makeDate(1), tree.makeUid(1),
                                         tree.makeArray(0).value(), tree.makeDictionary().value()}) {
    EXPECT_FALSE(boolValue(value));
    EXPECT_EQ(intValue(value), 0);
  }
}

}  // namespace
}  // namespace tarvel
