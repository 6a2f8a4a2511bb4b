#include "browser/host/json_strings.h"

#include <gtest/gtest.h>

namespace tarvel {

namespace {

std::string encoded(std::string_view text) {
  std::string json;
  appendJsonString(json, text);
  return json;
}

TEST(JsonStrings, EscapesAreDecoded) {
  EXPECT_EQ(decodedJsonString(R"(a\"\\\/\b\f\n\r\t\u0001\u00e9\u20AC)"), "a\"\\/\b\f\n\r\t\x01é€");
  EXPECT_EQ(decodedJsonString(R"(\ud83d\ude00)"), "😀");
}

TEST(JsonStrings, LoneSurrogatesBecomeThreeBytesAndEscapesAgain) {
  const std::string high = "\xED\xA0\x80";
  const std::string low = "\xED\xB0\x80";
  EXPECT_EQ(decodedJsonString(R"(\ud800x\udc00)"), high + "x" + low);
  EXPECT_EQ(decodedJsonString(R"(\ud800\ud83d\ude00)"), high + "😀");
  EXPECT_EQ(encoded(high + "x" + low), R"("\ud800x\udc00")");
}

TEST(JsonStrings, UnknownEscapesAreRefused) {
  for (const char* text : {R"(\x)", R"(\u12)", R"(\u12g4)", R"(\u-001)", R"(\)"}) {
    EXPECT_FALSE(decodedJsonString(text)) << text;
  }
}

TEST(JsonStrings, ControlsQuotesAndBackslashesAreEscaped) {
  EXPECT_EQ(encoded("\x01\"\\\n é 한"), "\"\\u0001\\\"\\\\\\u000a é 한\"");
}

}  // namespace

}  // namespace tarvel
