// Reading and writing the binary format: what is kept, shared and refused.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/plist/binary_reader.h"
#include "platform/plist/binary_writer.h"

namespace tarvel {
namespace {

/// A binary file made of the given objects, with references and offsets of the given widths.
std::string fileOf(const std::vector<std::string>& objects, std::size_t top, std::size_t referenceWidth,
                   std::size_t offsetWidth) {
  std::string file = "bplist00";
  std::vector<std::size_t> offsets;
  for (const std::string& object : objects) {
    offsets.push_back(file.size());
    file += object;
  }
  const std::size_t table = file.size();
  const auto put = [&file](std::uint64_t value, std::size_t width) {
    for (std::size_t i = width; i-- > 0;) file.push_back(static_cast<char>(i < 8 ? value >> (8 * i) : 0));
  };
  for (const std::size_t offset : offsets) put(offset, offsetWidth);
  file += std::string(6, '\0');
  put(offsetWidth, 1);
  put(referenceWidth, 1);
  put(objects.size(), 8);
  put(top, 8);
  put(table, 8);
  return file;
}

std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) text.push_back(static_cast<char>(value));
  return text;
}

PropertyList read(const std::string& file, std::string* error) {
  auto tree = std::make_shared<PropertyListTree>();
  const BinaryReading reading = readBinary(Data::copyOf(file), *tree);
  EXPECT_EQ(reading.error.empty(), static_cast<bool>(reading.root));
  if (error != nullptr) *error = reading.error;
  return {tree, reading.root};
}

PropertyList readGood(const std::string& file) {
  std::string error;
  PropertyList list = read(file, &error);
  EXPECT_EQ(error, "");
  return list;
}

std::string errorOf(const std::string& file) {
  std::string error;
  const PropertyList list = read(file, &error);
  EXPECT_FALSE(list.root);
  return error;
}

std::string write(const PropertyList& list) {
  const PropertyListWriting writing = writeBinary(list);
  EXPECT_FALSE(writing.error.has_value());
  return writing.data.joined();
}

TEST(BinaryForm, AnUnchangedFileIsWrittenByteForByte) {
  const std::string file = fileOf({bytes({0xA4, 1, 2, 3, 4}), "Sone", bytes({0x12, 0, 0, 0, 5}),
                                   bytes({0x22, 0x3F, 0x80, 0, 0}), bytes({0x61, 0xD8, 0x3D})},
                                  0, 1, 1);
  EXPECT_EQ(write(readGood(file)), file);
}

TEST(BinaryForm, AnUnchangedValueKeepsItsTypeAndWidth) {
  const std::string wide = bytes({0x14, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 0, 0, 0, 0, 9});
  const std::string file =
      fileOf({bytes({0xA3, 1, 2, 3}), bytes({0x13, 0, 0, 0, 0, 0, 0, 0, 5}), wide, bytes({0x83, 0, 0, 0, 7})}, 0, 1, 1);
  const PropertyList list = readGood(file);
  list.root.array().append(list.tree->makeString("new"));
  const std::string written = write(list);
  EXPECT_NE(written.find(wide), std::string::npos);
  const PropertyList rewritten = readGood(written);
  const PropertyListArray again = rewritten.root.array();
  ASSERT_EQ(again.size(), 4U);
  EXPECT_EQ(again.at(0).numberWidth(), 8U);
  EXPECT_EQ(again.at(1).numberWidth(), 16U);
  EXPECT_EQ(again.at(1).integer(), 9);
  EXPECT_EQ(again.at(2).uid(), 7U);
  EXPECT_EQ(again.at(3).string(), "new");
}

TEST(BinaryForm, EqualNewStringsNumbersDatesAndDataAreWrittenOnce) {
  PropertyList list{std::make_shared<PropertyListTree>(), {}};
  const PropertyListArray array = list.tree->makeArray(8);
  const std::uint8_t data[] = {1};
  for (int i = 0; i < 2; ++i) array.append(list.tree->makeString("a"));
  for (int i = 0; i < 2; ++i) array.append(list.tree->makeInteger(5));
  for (int i = 0; i < 2; ++i) array.append(list.tree->makeDate(2));
  for (int i = 0; i < 2; ++i) array.append(list.tree->makeData(data));
  list.root = array.value();
  const std::string date = bytes({0x33, 0x40, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(write(list),
            fileOf({bytes({0xA8, 1, 1, 2, 2, 3, 3, 4, 4}), "Qa", bytes({0x10, 5}), date, bytes({0x41, 1})}, 0, 1, 1));
}

TEST(BinaryForm, EqualValuesThatTheFileStoresSeparatelyStaySeparate) {
  const std::string date = bytes({0x33, 0x40, 0, 0, 0, 0, 0, 0, 0});
  const std::string file = fileOf({bytes({0xA8, 1, 2, 3, 4, 5, 6, 7, 8}), "Qa", "Qa", bytes({0x10, 5}),
                                   bytes({0x10, 5}), date, date, bytes({0x41, 1}), bytes({0x41, 1})},
                                  0, 1, 1);
  EXPECT_EQ(write(readGood(file)), file);
}

TEST(BinaryForm, ANewValueJoinsTheFirstOfEqualOnesOfTheFile) {
  const std::string file = fileOf({bytes({0xA3, 1, 2, 3}), "Qb", "Qa", "Qa"}, 0, 1, 1);
  const PropertyList list = readGood(file);
  list.root.array().append(list.tree->makeString("a"));
  EXPECT_EQ(write(list), fileOf({bytes({0xA4, 1, 2, 3, 2}), "Qb", "Qa", "Qa"}, 0, 1, 1));
}

TEST(BinaryForm, EqualNumbersOfDifferentWidthAreWrittenSeparately) {
  const std::string file = fileOf({bytes({0xA2, 1, 2}), bytes({0x10, 5}), bytes({0x11, 0, 5})}, 0, 1, 1);
  EXPECT_EQ(write(readGood(file)), file);
}

TEST(BinaryForm, ANewValueReusesAnEqualObjectOfTheFile) {
  const std::string file = fileOf({bytes({0xA1, 1}), "Sone"}, 0, 1, 1);
  const PropertyList list = readGood(file);
  list.root.array().append(list.tree->makeString("one"));
  EXPECT_EQ(write(list), fileOf({bytes({0xA2, 1, 1}), "Sone"}, 0, 1, 1));
}

TEST(BinaryForm, ObjectsKeepTheirNumbersAndOthersFillTheGaps) {
  const std::string file = fileOf({bytes({0xA4, 1, 2, 3, 4}), "Qa", "Qb", "Qc", "Qd"}, 0, 1, 1);
  const PropertyList list = readGood(file);
  list.root.array().retainBackwards([](PropertyListValue value) { return value.string() != "b"; });
  EXPECT_EQ(write(list), fileOf({bytes({0xA3, 1, 3, 2}), "Qa", "Qd", "Qc"}, 0, 1, 1));
}

TEST(BinaryForm, ANewArrayTakesTheNumberOfTheArrayItReplaces) {
  // The first key's array has the higher number, so numbering in the order of the tree would swap them.
  const std::string file =
      fileOf({bytes({0xD2, 1, 2, 4, 3}), "QK", "QL", bytes({0xA2, 5, 6}), bytes({0xA2, 6, 5}), "Qa", "Qb"}, 0, 1, 1);
  const PropertyList list = readGood(file);
  // A sort replaces the arrays in copies of the dictionaries.
  const PropertyListDictionary copy = list.root.dictionary().shallowCopy();
  for (const char* key : {"K", "L"}) {
    const PropertyListArray children = copy.array(key);
    const PropertyListArray reversed = list.tree->makeArray(2);
    reversed.append(children.at(1));
    reversed.append(children.at(0));
    copy.set(key, reversed.value());
  }
  EXPECT_EQ(
      write({list.tree, copy.value()}),
      fileOf({bytes({0xD2, 1, 2, 4, 3}), "QK", "QL", bytes({0xA2, 6, 5}), bytes({0xA2, 5, 6}), "Qa", "Qb"}, 0, 1, 1));
}

TEST(BinaryForm, AnArrayOfTheFileKeepsItsNumberUnderAnotherKey) {
  const std::string file =
      fileOf({bytes({0xD2, 1, 2, 3, 4}), "QK", "QL", bytes({0xA1, 5}), bytes({0xA1, 6}), "Qa", "Qb"}, 0, 1, 1);
  const PropertyList list = readGood(file);
  const PropertyListDictionary root = list.root.dictionary();
  const PropertyListValue first = root.get("K");
  root.set("K", root.get("L"));
  root.set("L", first);
  EXPECT_EQ(write(list),
            fileOf({bytes({0xD2, 1, 2, 4, 3}), "QK", "QL", bytes({0xA1, 5}), bytes({0xA1, 6}), "Qa", "Qb"}, 0, 1, 1));
}

TEST(BinaryForm, UnreferencedObjectsAreDropped) {
  const std::string file = fileOf({bytes({0xA1, 2}), "Vsecret", "Qa"}, 0, 1, 1);
  EXPECT_EQ(write(readGood(file)), fileOf({bytes({0xA1, 1}), "Qa"}, 0, 1, 1));
}

TEST(BinaryForm, TheTopObjectBecomesNumberZero) {
  const std::string file = fileOf({"Qa", bytes({0xA1, 0})}, 1, 1, 1);
  EXPECT_EQ(write(readGood(file)), fileOf({bytes({0xA1, 1}), "Qa"}, 0, 1, 1));
  EXPECT_EQ(write(readGood(fileOf({"Qa", "Qb"}, 1, 1, 1))), fileOf({"Qb"}, 0, 1, 1));
}

TEST(BinaryForm, OddReferenceWidthsAreReadAndNormalised) {
  for (const std::size_t width : {2U, 3U, 5U, 9U, 16U}) {
    const std::string reference(width - 1, '\0');
    const std::string array = bytes({0xA1}) + reference + bytes({1});
    EXPECT_EQ(write(readGood(fileOf({array, "Qa"}, 0, width, width))), fileOf({bytes({0xA1, 1}), "Qa"}, 0, 1, 1));
  }
}

TEST(BinaryForm, AnUnchangedSharedContainerStaysShared) {
  const std::string file = fileOf({bytes({0xA2, 1, 1}), bytes({0xA1, 2}), bytes({0xA1, 3}), "Qa"}, 0, 1, 1);
  const PropertyList list = readGood(file);
  EXPECT_FALSE(list.root.array().at(0) == list.root.array().at(1));
  EXPECT_EQ(write(list), file);
}

TEST(BinaryForm, EditingOneUseOfASharedContainerLeavesTheOthersUnchanged) {
  const std::string file = fileOf({bytes({0xA2, 1, 1}), bytes({0xA1, 2}), "Qa"}, 0, 1, 1);
  const PropertyList list = readGood(file);
  list.root.array().at(0).array().append(list.tree->makeString("b"));
  const PropertyList rewritten = readGood(write(list));
  const PropertyListArray again = rewritten.root.array();
  EXPECT_EQ(again.at(0).array().size(), 2U);
  EXPECT_EQ(again.at(1).array().size(), 1U);
}

TEST(BinaryForm, AContainerUsedTwiceInTheTreeIsWrittenOnce) {
  auto tree = std::make_shared<PropertyListTree>();
  const PropertyListArray root = tree->makeArray(0);
  const PropertyListArray inner = tree->makeArray(0);
  inner.append(tree->makeString("a"));
  root.append(inner.value());
  root.append(inner.value());
  EXPECT_EQ(write({tree, root.value()}), fileOf({bytes({0xA2, 1, 1}), bytes({0xA1, 2}), "Qa"}, 0, 1, 1));
}

TEST(BinaryForm, OfDuplicateKeysTheFirstIsUsed) {
  const std::string file = fileOf({bytes({0xD2, 1, 2, 3, 4}), "Qk", bytes({0x61, 0, 'k'}), "Q1", "Q2"}, 0, 1, 1);
  const PropertyList list = readGood(file);
  ASSERT_EQ(list.root.dictionary().size(), 1U);
  EXPECT_EQ(list.root.dictionary().string("k"), "1");
  EXPECT_EQ(write(list), fileOf({bytes({0xD1, 1, 2}), "Qk", "Q1"}, 0, 1, 1));
}

TEST(BinaryForm, HighBytesInAnAsciiStringAreReadAsLatin1AndWrittenAsUtf16) {
  const PropertyList list = readGood(fileOf({bytes({0x54, 'c', 'a', 'f', 0xE9})}, 0, 1, 1));
  EXPECT_EQ(list.root.string(), "caf\xC3\xA9");
  EXPECT_EQ(write(list), fileOf({bytes({0x64, 0, 'c', 0, 'a', 0, 'f', 0, 0xE9})}, 0, 1, 1));
}

TEST(BinaryForm, UnfoldingOutOfProportionIsRefused) {
  std::vector<std::string> objects;
  for (int i = 1; i <= 40; ++i) objects.push_back(bytes({0xA2, i, i}));
  objects.push_back("Qa");
  EXPECT_EQ(errorOf(fileOf(objects, 0, 1, 2)), "Shared containers unfold out of proportion to the file.");
}

TEST(BinaryForm, ModestSharingIsAccepted) {
  std::vector<std::string> objects;
  for (int i = 1; i <= 10; ++i) objects.push_back(bytes({0xA2, i, i}));
  objects.push_back("Qa");
  const std::string file = fileOf(objects, 0, 1, 1);
  EXPECT_EQ(write(readGood(file)), file);
}

TEST(BinaryForm, ManyOverlappingStringsAreRefused) {
  // A thousand strings, each of which contains the rest of the file.
  const std::size_t size = 60'000;
  std::string file = "bplist00";
  std::vector<std::size_t> offsets;
  const std::string array = bytes({0xAF, 0x11, 1000 >> 8, 1000 & 0xFF});
  offsets.push_back(file.size());
  file += array;
  for (int i = 1; i <= 1000; ++i) file += bytes({i >> 8, i & 0xFF});
  for (int i = 0; i < 1000; ++i) {
    offsets.push_back(file.size());
    file += bytes({0x5F, 0x12, 0, 0, static_cast<int>(size >> 8), 0});
  }
  file += std::string(size, 'x');
  const std::size_t table = file.size();
  for (const std::size_t offset : offsets) {
    file += bytes({static_cast<int>(offset >> 16), static_cast<int>(offset >> 8), static_cast<int>(offset)});
  }
  file += std::string(6, '\0') + bytes({3, 2}) + std::string(6, '\0') + bytes({1001 >> 8, 1001 & 0xFF}) +
          std::string(8, '\0');
  file += std::string(5, '\0') +
          bytes({static_cast<int>(table >> 16), static_cast<int>(table >> 8), static_cast<int>(table)});
  EXPECT_EQ(errorOf(file), "The objects overlap too much.");
}

TEST(BinaryForm, AContainerThatContainsItselfIsNeitherReadNorWritten) {
  EXPECT_EQ(errorOf(fileOf({bytes({0xA1, 1}), bytes({0xA1, 0})}, 0, 1, 1)), "A container contains itself.");
  EXPECT_EQ(errorOf(fileOf({bytes({0xD1, 0, 0})}, 0, 1, 1)), "A container is used as a key.");
  auto tree = std::make_shared<PropertyListTree>();
  const PropertyListArray root = tree->makeArray(1);
  root.append(root.value());
  const PropertyListWriting writing = writeBinary({tree, root.value()});
  ASSERT_TRUE(writing.error.has_value());
  EXPECT_TRUE(writing.data.pieces.empty());
}

TEST(BinaryForm, ALongKeyWithManyReferencesIsReadOnce) {
  // If each reference cost the key's length, 10^10 bytes would exceed the suite's time limit.
  const std::size_t count = 50'000;
  const std::string key = bytes({0x5F, 0x12, 0, 3, 0xD, 0x40}) + std::string(200'000, 'k');
  std::string dictionary = bytes({0xDF, 0x11, static_cast<int>(count >> 8), static_cast<int>(count & 0xFF)});
  for (std::size_t i = 0; i < count; ++i) dictionary += bytes({1});
  for (std::size_t i = 0; i < count; ++i) dictionary += bytes({2});
  const PropertyList list = readGood(fileOf({dictionary, key, "Qv"}, 0, 1, 3));
  EXPECT_EQ(list.root.dictionary().size(), 1U);
}

TEST(BinaryForm, HugeCountsAreRefusedBeforeAllocation) {
  for (const int kind : {0x4F, 0x5F, 0x6F, 0xAF, 0xDF}) {
    const std::string object = bytes({kind, 0x13, 0x0F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_NE(errorOf(fileOf({object}, 0, 1, 1)), "") << kind;
    const std::string negative = bytes({kind, 0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_NE(errorOf(fileOf({negative}, 0, 1, 1)), "") << kind;
  }
}

TEST(BinaryForm, ACountThatRunsIntoTheTableIsRefused) {
  for (const int kind : {0x4F, 0x5F, 0x6F, 0xAF, 0xCF, 0xDF}) {
    for (const std::string& last : {bytes({kind}), bytes({kind, 0x10}), bytes({kind, 0x11, 0})}) {
      std::string file = fileOf({"W1234567", bytes({0xA1, 2}), last}, 0, 1, 1);
      // The table begins with an offset that looks like the marker of an integer.
      const std::size_t table = 18 + last.size();
      std::swap(file[table], file[table + 1]);
      ASSERT_EQ(file[table], 0x10);
      EXPECT_EQ(errorOf(file), "An object runs past the end of the objects.") << kind;
    }
  }
}

TEST(BinaryForm, ATruncatedFileIsRefused) {
  const std::string file =
      fileOf({bytes({0xD1, 1, 2}), "Qk", bytes({0xA2, 3, 1}), bytes({0x62, 0, 'x', 0, 'y'})}, 0, 1, 1);
  (void)readGood(file);
  for (std::size_t size = 0; size < file.size(); ++size) EXPECT_NE(errorOf(file.substr(0, size)), "") << size;
}

TEST(BinaryForm, AnyChangedByteIsRefusedOrGivesAListThatCanBeReadAgain) {
  const std::string file =
      fileOf({bytes({0xD2, 1, 2, 3, 4}), "Qk", "Ql", bytes({0xA2, 5, 6}), bytes({0x33, 0x40, 0, 0, 0, 0, 0, 0, 0}),
              bytes({0x62, 0, 'x', 0xD8, 0}), bytes({0x82, 0, 1, 1})},
             0, 1, 1);
  for (std::size_t at = 0; at < file.size(); ++at) {
    for (int value = 0; value < 256; ++value) {
      std::string changed = file;
      changed[at] = static_cast<char>(value);
      const PropertyList list = read(changed, nullptr);
      if (!list.root) continue;
      const PropertyListWriting writing = writeBinary(list);
      if (!writing.error) (void)readGood(writing.data.joined());
    }
  }
}

}  // namespace
}  // namespace tarvel
