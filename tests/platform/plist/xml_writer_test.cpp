// The XML writer's order and limits, and that its files can be read back.

#include "platform/plist/xml_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "platform/plist/serialization.h"
#include "platform/plist/writable_check.h"
#include "platform/plist/xml_reader.h"
#include "tests/support/vector_tree.h"

namespace tarvel {
namespace {

constexpr std::uint32_t kXmlFormat = 100;
constexpr std::uint32_t kBinaryFormat = 200;

std::string write(const PropertyListValue& root, const std::shared_ptr<PropertyListTree>& tree) {
  const PropertyListWriting writing = writeXml({tree, root});
  return writing.error ? writing.error->description : writing.data.joined();
}

/// The keys in the order in which they are written.
std::vector<std::string> keysAsWritten(const std::vector<std::string>& keys) {
  auto tree = std::make_shared<PropertyListTree>();
  const PropertyListDictionary dictionary = tree->makeDictionary();
  for (const std::string& key : keys) dictionary.set(std::string_view(key), tree->makeBoolean(true));
  const std::string written = write(dictionary.value(), tree);
  std::vector<std::string> order;
  for (std::size_t at = written.find("<key>"); at != std::string::npos; at = written.find("<key>", at + 1)) {
    order.push_back(written.substr(at + 5, written.find("</key>", at) - at - 5));
  }
  return order;
}

TEST(XmlWriter, KeysAreInUtf16Order) {
  // U+1F600 is D83D DE00: before U+E000 and U+FF21, after everything below U+D800.
  const std::vector<std::string> order = {"",       "A",      "AB",         "B",          "a",      "\u00e9",
                                          "\u65e5", "\uD7FF", "\U0001F600", "\U0001F601", "\uE000", "\uFF21"};
  EXPECT_EQ(keysAsWritten({order.rbegin(), order.rend()}), order);
  EXPECT_EQ(keysAsWritten({"x\uFF21", "x\U0001F600"}), (std::vector<std::string>{"x\U0001F600", "x\uFF21"}));
}

TEST(XmlWriter, LoneSurrogatesTakePartInTheOrder) {
  // The units are D83D | D83D DE00 | D83D E000 | DC00. Written text ends before a lone surrogate.
  const std::vector<std::string> keys = {"\xED\xB0\x80", "\xED\xA0\xBD\uE000", "\U0001F600", "\xED\xA0\xBD"};
  EXPECT_EQ(keysAsWritten(keys), (std::vector<std::string>{"", "\U0001F600", "", ""}));
}

TEST(XmlWriter, ADistantDateReadsBackUnchanged) {
  for (const double seconds : {1e18, -1e18, 8.9e18, -63114076800.0, 0.0, -1.0, 9.5e11}) {
    auto tree = std::make_shared<PropertyListTree>();
    const std::string written = write(tree->makeDate(seconds), tree);
    PropertyListTree again;
    const Data data = Data::copyOf(written);
    const TextReading reading = readXml(data.bytes(), again);
    ASSERT_TRUE(reading.root) << written;
    // At the ends of the range, a double is less precise than a second.
    EXPECT_NEAR(*reading.root.date(), seconds, 2048) << written;
    if (std::abs(seconds) < 1e15) {
      EXPECT_EQ(*reading.root.date(), seconds) << written;
    }
  }
}

TEST(XmlWriter, EveryDayReadsBackUnchanged) {
  // A step of 367 days covers every day of the year and every 400-year cycle.
  for (std::int64_t day = -900000; day < 900000; day += 367) {
    auto tree = std::make_shared<PropertyListTree>();
    const double seconds = static_cast<double>(day) * 86400 + 3723;
    const Data data = Data::copyOf(write(tree->makeDate(seconds), tree));
    PropertyListTree again;
    EXPECT_EQ(readXml(data.bytes(), again).root.date(), seconds) << data.size();
  }
}

TEST(XmlWriter, DeepListsAreWrittenWithoutRecursion) {
  auto tree = std::make_shared<PropertyListTree>();
  PropertyListArray outer = tree->makeArray(1);
  const PropertyListValue root = outer.value();
  for (int i = 0; i < 3000; ++i) {
    const PropertyListArray inner = tree->makeArray(1);
    outer.append(inner.value());
    outer = inner;
  }
  const std::string written = write(root, tree);
  EXPECT_NE(written.find(std::string(3000, '\t') + "<array/>\n"), std::string::npos);
}

TEST(WritableCheck, XmlLimitsRepetitionsOfSharedContainers) {
  PropertyListTree tree;
  const PropertyListArray shared = tree.makeArray(0);
  const PropertyListArray root = tree.makeArray(0);
  for (int i = 0; i < 1537; ++i) root.append(shared.value());
  EXPECT_FALSE(findUnwritable(root.value(), kXmlFormat));
  root.append(shared.value());
  ASSERT_TRUE(findUnwritable(root.value(), kXmlFormat));
  EXPECT_FALSE(findUnwritable(root.value(), kBinaryFormat));
}

TEST(WritableCheck, ExponentiallySharedListsAreRefusedQuickly) {
  PropertyListTree tree;
  PropertyListArray array = tree.makeArray(0);
  for (int i = 0; i < 400; ++i) {
    const PropertyListArray outer = tree.makeArray(2);
    outer.append(array.value());
    outer.append(array.value());
    array = outer;
  }
  const auto error = findUnwritable(array.value(), kXmlFormat);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->description,
            "Property list invalid for format: 100 (Too many nested arrays or dictionaries please use "
            "kCFPropertyListBinaryFormat_v1_0 instead which supports references)");
  EXPECT_FALSE(findUnwritable(array.value(), kBinaryFormat));
}

TEST(WritableCheck, ReportsTheFirstFaultKeysBeforeValues) {
  PropertyListTree tree;
  const std::vector<PropertyListValue> keys = {tree.makeString("a"), tree.makeInteger(1)};
  const std::vector<PropertyListValue> values = {tree.makeSet({}), tree.makeNull()};
  EXPECT_EQ(findUnwritable(tree.makeDictionary(keys, values).value(), kBinaryFormat)->description,
            "Property list invalid for format: 200 (property lists cannot contain objects of type 'CFSet')");
  const std::vector<PropertyListValue> fine = {tree.makeString("b"), tree.makeNull()};
  EXPECT_EQ(findUnwritable(tree.makeDictionary(keys, fine).value(), kBinaryFormat)->description,
            "Property list invalid for format: 200 (property list dictionaries may only have keys which are CFStrings, "
            "not 'CFNumber')");
}

TEST(WritableCheck, AnAbsentListIsRefused) {
  EXPECT_EQ(findUnwritable({}, kBinaryFormat)->description,
            "Property list invalid for format: 200 (property lists cannot contain NULL)");
}

TEST(XmlWriter, OutputComesInPiecesUntilTheSinkReturnsFalse) {
  auto tree = std::make_shared<PropertyListTree>();
  const PropertyListArray root = tree->makeArray(0);
  const PropertyListValue text = tree->makeString(std::string(1000, 'x'));
  for (int i = 0; i < 1000; ++i) root.append(text);
  std::string all;
  std::size_t largest = 0;
  const auto error = writeXmlTo({tree, root.value()}, [&](std::string_view piece) {
    all += piece;
    largest = std::max(largest, piece.size());
    return true;
  });
  EXPECT_FALSE(error.has_value());
  EXPECT_EQ(all, write(root.value(), tree));
  EXPECT_LT(largest, 100'000U);
  std::size_t pieces = 0;
  EXPECT_FALSE(writeXmlTo({tree, root.value()}, [&](std::string_view) { return ++pieces < 3; }).has_value());
  EXPECT_EQ(pieces, 3U);
}

TEST(XmlWriter, TextOutOfProportionToTheBinaryFileIsRefused) {
  auto source = std::make_shared<PropertyListTree>();
  const PropertyListArray root = source->makeArray(0);
  const PropertyListValue text = source->makeString(std::string(1 << 20, 'x'));
  for (int i = 0; i < 1100; ++i) root.append(text);
  PlistSerialization lists;
  const std::string file = lists.dataWithPropertyList({source, root.value()}, kBinaryFormat).data.joined();
  const PropertyListReading reading = lists.propertyListFromData(Data::copyOf(file));
  ASSERT_FALSE(reading.error.has_value());
  const PropertyListWriting writing = lists.dataWithPropertyList(reading.list, kXmlFormat);
  ASSERT_TRUE(writing.error.has_value());
  EXPECT_NE(writing.error->description.find("out of proportion"), std::string::npos);
  // The binary format keeps shared values shared, so it has no such limit.
  EXPECT_FALSE(lists.dataWithPropertyList(reading.list, kBinaryFormat).error.has_value());
}

}  // namespace
}  // namespace tarvel
