// The entry points: the order in which formats are tried, and errors.

#include "platform/plist/serialization.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace tarvel {
namespace {

PlistSerialization serialization;

TEST(Serialization, AnAbsentListIsRefusedInEveryFormat) {
  EXPECT_EQ(serialization.dataWithPropertyList({}, 200).error->description,
            "Property list invalid for format: 200 (property lists cannot contain NULL)");
  EXPECT_EQ(serialization.dataWithPropertyList({}, 100).error->description,
            "Property list invalid for format: 100 (property lists cannot contain NULL)");
}

TEST(Serialization, EmptyDataIsRefused) {
  const PropertyListReading reading = serialization.propertyListFromData({});
  EXPECT_EQ(reading.error->description, "Cannot parse a NULL or zero-length data");
  EXPECT_EQ(reading.error->line, 0U);
}

TEST(Serialization, TheFirstFormatThatFitsIsUsed) {
  const auto formatOf = [](std::string_view text) {
    return serialization.propertyListFromData(Data::copyOf(text)).format;
  };
  EXPECT_EQ(formatOf("bplist00"), PropertyListFormat::kOpenStep) << "too short for a trailer, and a word";
  EXPECT_EQ(formatOf("<data>ABCD</data>"), PropertyListFormat::kXml);
  EXPECT_EQ(formatOf("<abcd>"), PropertyListFormat::kOpenStep);
}

TEST(Serialization, AListOutlivesTheBytesItWasReadFrom) {
  PropertyList list;
  {
    const PropertyListWriting writing = serialization.dataWithPropertyList(
        serialization.propertyListFromData(Data::copyOf("{ a = \"long enough to live on the heap, surely\"; }")).list,
        200);
    list = serialization.propertyListFromData(Data::copyOf(writing.data.joined())).list;
  }
  EXPECT_EQ(list.root.dictionary().string("a"), "long enough to live on the heap, surely");
}

TEST(Serialization, TheResultOfWritingOutlivesItsList) {
  for (const std::uint32_t format : {100U, 200U}) {
    std::optional<PropertyListWriting> writing;
    {
      const PropertyList list = serialization.propertyListFromData(Data::copyOf("(\"some text of some length\")")).list;
      writing = serialization.dataWithPropertyList(list, format);
    }
    const PropertyListReading again = serialization.propertyListFromData(Data::copyOf(writing->data.joined()));
    EXPECT_EQ(again.list.root.array().at(0).string(), "some text of some length");
  }
}

TEST(Serialization, ACorruptBinaryFileReportsTheXmlErrorAndTheBinaryError) {
  const PropertyListReading reading = serialization.propertyListFromData(Data::copyOf("bplist00\x01\x02"));
  ASSERT_TRUE(reading.error);
  EXPECT_EQ(reading.error->description, "Unexpected character b at line 1");
  EXPECT_EQ(reading.error->line, 1U);
  EXPECT_EQ(reading.error->binaryDescription, "The file ends before its trailer.");
}

}  // namespace
}  // namespace tarvel
