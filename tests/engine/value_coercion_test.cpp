#include "engine/value_coercion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <set>

#include "tests/support/vectors.h"

namespace tarvel {
namespace {

std::string utf8(std::uint32_t letter) {
  const auto byte = [](std::uint32_t value) { return static_cast<char>(static_cast<unsigned char>(value)); };
  const auto next = [&](int shift) { return byte(0x80U | (letter >> shift & 0x3FU)); };
  if (letter < 0x80) return {byte(letter)};
  if (letter < 0x800) return {byte(0xC0U | letter >> 6), next(0)};
  if (letter < 0x10000) return {byte(0xE0U | letter >> 12), next(6), next(0)};
  return {byte(0xF0U | letter >> 18), next(12), next(6), next(0)};
}

std::string hexadecimal(std::uint32_t letter) {
  char digits[9] = {};
  (void)std::snprintf(digits, sizeof digits, "%04X", letter);
  return digits;
}

struct ValueCoercion : testing::Test {
  PropertyListValue number(const nlohmann::json& recorded) {
    const std::string text = recorded["v"];
    if (recorded["t"] == "real") {
      const double real = std::strtod(text.c_str(), nullptr);
      const bool isSingle = recorded.value("w", sizeof(double)) == sizeof(float);
      return isSingle ? tree.makeSingleReal(static_cast<float>(real)) : tree.makeReal(real);
    }
    return text.front() == '-' ? tree.makeInteger(std::stoll(text)) : tree.makeUnsigned(std::stoull(text));
  }

  nlohmann::json strings = vectorFile("strings.json");
  PropertyListTree tree;
};

TEST_F(ValueCoercion, TextsConvertToTheOriginalsIntegers) {
  ASSERT_FALSE(strings["int_value"]["cases"].empty());
  for (const auto& item : strings["int_value"]["cases"]) {
    EXPECT_EQ(intValueOfText(item["s"].get<std::string>()), item["int32"].get<std::int32_t>()) << item;
  }
}

TEST_F(ValueCoercion, TextsConvertToTheOriginalsBooleans) {
  ASSERT_FALSE(strings["bool_value_of_string"]["cases"].empty());
  for (const auto& item : strings["bool_value_of_string"]["cases"]) {
    EXPECT_EQ(boolValueOfText(item["s"].get<std::string>()), item["value"].get<bool>()) << item;
  }
}

TEST_F(ValueCoercion, NumbersConvertToTheOriginalsIntegers) {
  ASSERT_FALSE(strings["number_value"]["cases"].empty());
  for (const auto& item : strings["number_value"]["cases"]) {
    EXPECT_EQ(std::to_string(intValue(number(item["number"]))), item["int32"].get<std::string>()) << item;
  }
}

TEST_F(ValueCoercion, NumbersKeepTheOriginalsFullValue) {
  ASSERT_FALSE(strings["number_value"]["cases"].empty());
  for (const auto& item : strings["number_value"]["cases"]) {
    const PropertyListValue value = number(item["number"]);
    const double recorded = std::strtod(item["double"].get<std::string>().c_str(), nullptr);
    if (const auto integer = value.integer()) {
      EXPECT_EQ(std::to_string(*integer), item["int64"].get<std::string>()) << item;
    } else {
      const double real = value.real().value();
      EXPECT_TRUE(real == recorded || (std::isnan(real) && std::isnan(recorded))) << item;
    }
    EXPECT_EQ(boolValue(value), recorded != 0) << item;
  }
}

TEST_F(ValueCoercion, BlankTextsAreThoseTheOriginalTrimsToEmpty) {
  ASSERT_FALSE(strings["trim_whitespace"]["cases"].empty());
  for (const auto& item : strings["trim_whitespace"]["cases"]) {
    EXPECT_EQ(isBlank(item["s"].get<std::string>()), item["empty"].get<bool>()) << item;
  }
}

TEST_F(ValueCoercion, OnlyTheCharactersOfTheRecordedSetAreBlank) {
  std::set<std::string> recorded;
  for (const auto& digits : strings["whitespace_character_set"]["whitespaceCharacterSet"]) recorded.insert(digits);
  ASSERT_EQ(recorded.erase("200B"), 1U);
  std::set<std::string> blank;
  for (std::uint32_t letter = 0; letter <= 0x10FFFF; ++letter) {
    if (letter >= 0xD800 && letter <= 0xDFFF) continue;
    if (isBlank(utf8(letter))) blank.insert(hexadecimal(letter));
  }
  EXPECT_EQ(blank, recorded);
}

TEST_F(ValueCoercion, LineBreaksAreNotBlank) {
  ASSERT_FALSE(strings["whitespace_character_set"]["newlineCharacterSet"].empty());
  for (const std::string digits : strings["whitespace_character_set"]["newlineCharacterSet"]) {
    EXPECT_FALSE(isBlank(" " + utf8(static_cast<std::uint32_t>(std::stoul(digits, nullptr, 16))) + " ")) << digits;
  }
}

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
