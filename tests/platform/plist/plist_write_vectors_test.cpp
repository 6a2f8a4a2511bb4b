// All recorded answers of the original platform's writer.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/plist/serialization.h"
#include "tests/platform/plist/plist_support.h"
#include "tests/support/sha256.h"
#include "tests/support/vector_tree.h"
#include "tests/support/vectors.h"

namespace tarvel {
namespace {

using plist_test::readAnyFormat;

using nlohmann::json;

constexpr std::uint32_t kXml = static_cast<std::uint32_t>(PropertyListFormat::kXml);
constexpr std::uint32_t kBinary = static_cast<std::uint32_t>(PropertyListFormat::kBinary);

const json& writeCases() { return vectorFile("plist_write.json")["cases"]; }
const json& rewrites() { return vectorFile("plist_write.json")["rewrites"]; }

const json& readCaseNamed(const std::string& name) {
  const json& cases = vectorFile("plist_read.json")["cases"];
  const auto found = std::ranges::find_if(cases, [&](const json& example) { return example["name"] == name; });
  EXPECT_NE(found, cases.end()) << name;
  return *found;
}

PropertyListWriting write(const PropertyList& list, std::uint32_t format) {
  PlistSerialization serialization;
  return serialization.dataWithPropertyList(list, format);
}

/// Whether a leaf or a container occurs twice. The original writes some of these once per occurrence; our writer writes
/// each once, so its file differs and is smaller.
bool repeatsAValue(const json& tree) {
  std::size_t count = 0;
  std::set<std::string> distinct;
  bool refers = false;
  const auto add = [&](const json& leaf) {
    distinct.insert(leaf.dump());
    ++count;
  };
  forEachNode(tree, [&](const json& node) {
    const std::string type = node["t"];
    refers = refers || type == "ref";
    if (type == "dict") {
      for (const json& entry : node["v"]) add({{"t", "string"}, {"v", entry[0]}});
    } else if (type != "array" && type != "ref") {
      add(canonical(node));
    }
  });
  return refers || distinct.size() != count;
}

/// Whether the tree has a date whose year does not fit 31 bits, or that is not finite. The original overflows and
/// writes text that no reader accepts.
bool holdsUnprintableDate(const json& tree) {
  constexpr double kSecondsOf31BitsOfYears = 2147481646.0 * 31556952.0;
  bool result = false;
  forEachNode(tree, [&](const json& node) {
    if (node["t"] != "date") return;
    const double seconds = std::strtod(node["v"].get_ref<const std::string&>().c_str(), nullptr);
    result = result || !(std::fabs(seconds) < kSecondsOf31BitsOfYears);
  });
  return result;
}

void expectReadsBackAs(const std::string& bytes, const json& tree) {
  const PropertyListReading reading = readAnyFormat(bytes);
  ASSERT_FALSE(reading.error) << reading.error->description;
  EXPECT_EQ(toJson(reading.list.root), tree);
}

TEST(WriteVectors, EveryTreeIsWrittenOrRefusedWithTheOriginalsText) {
  std::size_t refused = 0;
  for (const json& example : writeCases()) {
    if (!canBeMade(example["tree"]) || holdsUnprintableDate(example["tree"])) continue;
    SCOPED_TRACE(example["name"].get<std::string>());
    const PropertyListWriting writing = write(fromJson(example["tree"]), example["format"].get<std::uint32_t>());
    EXPECT_EQ(!writing.error, example["ok"].get<bool>());
    EXPECT_EQ(writing.data.pieces.empty(), writing.error.has_value());
    if (!writing.error) continue;
    ++refused;
    const json& text = example["error"];
    EXPECT_EQ(writing.error->description, text.is_null() ? "(null)" : text.get<std::string>());
  }
  EXPECT_GT(refused, 20U);
}

TEST(WriteVectors, XmlIsTheOriginalsByteForByte) {
  std::size_t count = 0;
  for (const json& example : writeCases()) {
    if (example["format"] != kXml || !example["ok"].get<bool>() || holdsUnprintableDate(example["tree"])) continue;
    SCOPED_TRACE(example["name"].get<std::string>());
    const std::string written = write(fromJson(example["tree"]), kXml).data.joined();
    if (example.contains("output_base64")) {
      EXPECT_EQ(written, decodeBase64(example["output_base64"].get<std::string>()));
    } else {
      EXPECT_EQ(written.size(), example["output_bytes"].get<std::size_t>());
      EXPECT_EQ(sha256(written), example["output_sha256"].get<std::string>());
    }
    ++count;
  }
  EXPECT_GT(count, 80U);
}

TEST(WriteVectors, BinaryIsTheOriginalsByteForByteUnlessValuesRepeat) {
  std::size_t count = 0;
  for (const json& example : writeCases()) {
    if (example["format"] != kBinary || !example["ok"].get<bool>()) continue;
    SCOPED_TRACE(example["name"].get<std::string>());
    const std::string written = write(fromJson(example["tree"]), kBinary).data.joined();
    const std::string original =
        example.contains("output_base64") ? decodeBase64(example["output_base64"].get<std::string>()) : std::string();
    if (example["byte_exact"].get<bool>() && !repeatsAValue(example["tree"])) {
      if (example.contains("output_base64")) {
        EXPECT_EQ(encodeBase64(written), encodeBase64(original));
      } else {
        EXPECT_EQ(sha256(written), example["output_sha256"].get<std::string>());
      }
      ++count;
    } else {
      EXPECT_LE(written.size(), original.size());
      expectReadsBackAs(written, toJson(readAnyFormat(original).list.root));
    }
  }
  EXPECT_GT(count, 80U);
}

TEST(WriteVectors, ADateOutsideTheCalendarIsRefused) {
  const json nan = {{"t", "date"}, {"v", "nan"}};
  const PropertyListWriting writing = write(fromJson(nan), kXml);
  ASSERT_TRUE(writing.error);
  EXPECT_FALSE(write(fromJson(nan), kBinary).error);
  EXPECT_EQ(writing.error->description, "Property list invalid for format: 100 (a date is outside the calendar)");
}

TEST(RewriteVectors, UnwritableListsAreRefusedWithTheOriginalsText) {
  std::size_t count = 0;
  for (const json& rewrite : rewrites()) {
    SCOPED_TRACE(rewrite["read_case"].get<std::string>());
    const json& example = readCaseNamed(rewrite["read_case"]);
    const PropertyListReading reading = readAnyFormat(decodeBase64(example["input_base64"].get<std::string>()));
    for (const auto& [format, expected] : {std::pair(kXml, rewrite["xml"]), std::pair(kBinary, rewrite["binary"])}) {
      if (expected["ok"].get<bool>()) continue;
      const PropertyListWriting writing = write(reading.list, format);
      ASSERT_TRUE(writing.error);
      EXPECT_EQ(writing.error->description, expected["error"].get<std::string>());
      ++count;
    }
  }
  EXPECT_GT(count, 10U);
}

TEST(RewriteVectors, XmlIsTheOriginalsByteForByte) {
  std::size_t count = 0;
  for (const json& rewrite : rewrites()) {
    SCOPED_TRACE(rewrite["read_case"].get<std::string>());
    if (!rewrite["xml"]["ok"].get<bool>()) continue;
    const json& example = readCaseNamed(rewrite["read_case"]);
    if (holdsUnprintableDate(example["tree"])) continue;
    const PropertyListReading reading = readAnyFormat(decodeBase64(example["input_base64"].get<std::string>()));
    EXPECT_EQ(write(reading.list, kXml).data.joined(),
              decodeBase64(rewrite["xml"]["output_base64"].get<std::string>()));
    ++count;
  }
  EXPECT_GT(count, 300U);
}

TEST(RewriteVectors, BinaryFromATextFileIsTheOriginalsByteForByteUnlessValuesRepeat) {
  std::size_t exact = 0;
  for (const json& rewrite : rewrites()) {
    SCOPED_TRACE(rewrite["read_case"].get<std::string>());
    const json& binary = rewrite["binary"];
    const json& example = readCaseNamed(rewrite["read_case"]);
    if (!binary["ok"].get<bool>() || example["format"] == kBinary) continue;
    const PropertyListReading reading = readAnyFormat(decodeBase64(example["input_base64"].get<std::string>()));
    const std::string written = write(reading.list, kBinary).data.joined();
    const std::string original = decodeBase64(binary["output_base64"].get<std::string>());
    if (binary["byte_exact"].get<bool>() && !repeatsAValue(example["tree"])) {
      EXPECT_EQ(encodeBase64(written), encodeBase64(original));
      ++exact;
    } else {
      EXPECT_LE(written.size(), original.size());
      expectReadsBackAs(written, toJson(reading.list.root));
    }
  }
  EXPECT_GT(exact, 100U);
}

/// Expects every number under `a` to be stored in as many bytes as its counterpart under `b`.
void expectSameWidths(const PropertyListValue& a, const PropertyListValue& b) {
  ASSERT_EQ(a.type(), b.type());
  EXPECT_EQ(a.numberWidth(), b.numberWidth());
  for (std::size_t i = 0; i < a.array().size(); ++i) expectSameWidths(a.array().at(i), b.array().at(i));
  for (std::size_t i = 0; i < a.dictionary().size(); ++i) {
    expectSameWidths(a.dictionary().valueAt(i), b.dictionary().valueAt(i));
  }
}

TEST(RewriteVectors, ABinaryFileKeepsValuesAndWidthsAndDoesNotGrow) {
  std::size_t count = 0;
  for (const json& rewrite : rewrites()) {
    SCOPED_TRACE(rewrite["read_case"].get<std::string>());
    const json& example = readCaseNamed(rewrite["read_case"]);
    if (!rewrite["binary"]["ok"].get<bool>() || example["format"] != kBinary) continue;
    const std::string input = decodeBase64(example["input_base64"].get<std::string>());
    const PropertyListReading reading = readAnyFormat(input);
    const std::string written = write(reading.list, kBinary).data.joined();
    const std::string original = decodeBase64(rewrite["binary"]["output_base64"].get<std::string>());
    EXPECT_LE(written.size(), std::max(input.size(), original.size()));
    const PropertyListReading again = readAnyFormat(written);
    ASSERT_FALSE(again.error) << again.error->description;
    EXPECT_EQ(again.format, PropertyListFormat::kBinary);
    EXPECT_EQ(toJson(again.list.root), canonical(example["tree"]));
    expectSameWidths(again.list.root, reading.list.root);
    ++count;
  }
  EXPECT_GT(count, 100U);
}

}  // namespace
}  // namespace tarvel
