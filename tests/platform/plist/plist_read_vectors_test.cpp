// All recorded answers of the original platform's reader.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/plist/openstep_reader.h"
#include "platform/plist/serialization.h"
#include "tests/support/vector_tree.h"
#include "tests/support/vectors.h"

namespace tarvel {
namespace {

using nlohmann::json;

const json& cases() { return vectorFile("plist_read.json")["cases"]; }

PropertyListReading readCase(const json& example) {
  PlistSerialization serialization;
  return serialization.propertyListFromData(Data::copyOf(decodeBase64(example["input_base64"].get<std::string>())));
}

TEST(ReadVectors, EveryCaseIsReadOrRefusedAsTheOriginalDoes) {
  std::size_t count = 0;
  for (const json& example : cases()) {
    SCOPED_TRACE(example["name"].get<std::string>());
    const PropertyListReading reading = readCase(example);
    EXPECT_EQ(!reading.error.has_value(), example["ok"].get<bool>())
        << (reading.error ? reading.error->description : "");
    EXPECT_EQ(static_cast<bool>(reading.list.root), !reading.error.has_value());
    ++count;
  }
  EXPECT_GT(count, 600U);
}

TEST(ReadVectors, EveryCaseThatIsReadHasTheOriginalsFormatAndTree) {
  for (const json& example : cases()) {
    if (!example["ok"].get<bool>()) continue;
    SCOPED_TRACE(example["name"].get<std::string>());
    const PropertyListReading reading = readCase(example);
    ASSERT_TRUE(reading.list.root);
    EXPECT_EQ(static_cast<std::uint32_t>(reading.format), example["format"].get<std::uint32_t>());
    EXPECT_EQ(toJson(reading.list.root), canonical(example["tree"]));
  }
}

TEST(ReadVectors, EveryRefusalHasTheOriginalsText) {
  for (const json& example : cases()) {
    if (example["ok"].get<bool>()) continue;
    SCOPED_TRACE(example["name"].get<std::string>());
    const PropertyListReading reading = readCase(example);
    ASSERT_TRUE(reading.error);
    EXPECT_EQ(reading.error->description, example["error"].get<std::string>());
    const std::size_t named = reading.error->description.find(" line " + std::to_string(reading.error->line));
    const bool namesALine = reading.error->description.find(" line ") != std::string::npos;
    EXPECT_TRUE(!namesALine || named != std::string::npos) << reading.error->line;
  }
}

TEST(ReadVectors, ARejectedBinaryFileHasTheBinaryReadersErrorToo) {
  std::size_t count = 0;
  for (const json& example : cases()) {
    if (example["ok"].get<bool>()) continue;
    SCOPED_TRACE(example["name"].get<std::string>());
    const std::string bytes = decodeBase64(example["input_base64"].get<std::string>());
    const PropertyListReading reading = readCase(example);
    ASSERT_TRUE(reading.error);
    const bool beginsAsBinary = bytes.size() >= 8 && bytes.starts_with("bplist0");
    EXPECT_EQ(!reading.error->binaryDescription.empty(), beginsAsBinary);
    if (beginsAsBinary) ++count;
  }
  EXPECT_GT(count, 50U);
}

// The vectors contain the OpenStep reader's error even where the XML reader's error takes precedence.
TEST(ReadVectors, TheOpenStepReadersErrorsAreTheOriginals) {
  std::size_t count = 0;
  for (const json& example : cases()) {
    if (!example.contains("old_style_error")) continue;
    SCOPED_TRACE(example["name"].get<std::string>());
    const std::string bytes = decodeBase64(example["input_base64"].get<std::string>());
    const Data data = Data::copyOf(bytes);
    PropertyListTree tree;
    const TextReading reading = readOpenStep(data.bytes(), tree);
    ASSERT_TRUE(reading.error);
    // Both readers stop at an unknown encoding.
    if (example["error"].get<std::string>().find("encoding name") != std::string::npos) continue;
    if (example["error"].get<std::string>().find("unknown encoding") != std::string::npos) continue;
    EXPECT_EQ(reading.error->description, example["old_style_error"].get<std::string>());
    ++count;
  }
  EXPECT_GT(count, 200U);
}

}  // namespace
}  // namespace tarvel
