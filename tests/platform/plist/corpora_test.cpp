// Our own bookmarks files and, if available, files from other projects: test data and past crashes of another reader.

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "platform/plist/serialization.h"
#include "tests/platform/plist/plist_support.h"
#include "tests/support/file_contents.h"
#include "tests/support/vector_tree.h"
#include "tests/support/vectors.h"

namespace tarvel {
namespace {

using plist_test::readAnyFormat;

namespace fs = std::filesystem;

std::vector<fs::path> filesBelow(const std::string& folder) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  return files;
}

void expectSameInBothFormats(const PropertyList& list) {
  PlistSerialization serialization;
  for (const std::uint32_t format : {100U, 200U}) {
    const PropertyListWriting writing = serialization.dataWithPropertyList(list, format);
    if (writing.error) {
      // Allowed only for values that can be read but not written.
      EXPECT_TRUE(writing.error->description.starts_with("Property list invalid")) << writing.error->description;
      continue;
    }
    const PropertyListReading again = readAnyFormat(writing.data.joined());
    ASSERT_FALSE(again.error) << again.error->description;
    EXPECT_EQ(static_cast<std::uint32_t>(again.format), format);
    EXPECT_EQ(toJson(again.list.root), toJson(list.root));
  }
}

class Corpora : public testing::Test {
 protected:
  void SetUp() override {
    if (!samplesFolder()) GTEST_SKIP() << "other projects' files: TARVEL_SAMPLES names no folder";
  }
};

std::size_t expectEverySurvivesBothFormats(const std::string& folder) {
  std::size_t count = 0;
  for (const fs::path& path : filesBelow(folder)) {
    SCOPED_TRACE(path.string());
    const PropertyListReading reading = readAnyFormat(contentsOf(path));
    EXPECT_FALSE(reading.error) << reading.error->description;
    if (!reading.error) expectSameInBothFormats(reading.list);
    ++count;
  }
  return count;
}

TEST(BookmarksFiles, EveryFileSurvivesBothFormats) { EXPECT_EQ(expectEverySurvivesBothFormats(bookmarksFolder()), 5U); }

TEST_F(Corpora, EveryBookmarksFileSurvivesBothFormats) {
  EXPECT_GT(expectEverySurvivesBothFormats(*samplesFolder() + "/bookmarks"), 8U);
}

TEST_F(Corpora, EveryReadableFileSurvivesBothFormats) {
  std::size_t count = 0;
  for (const fs::path& path : filesBelow(*samplesFolder() + "/corpora")) {
    SCOPED_TRACE(path.string());
    const PropertyListReading reading = readAnyFormat(contentsOf(path));
    EXPECT_NE(reading.error.has_value(), static_cast<bool>(reading.list.root));
    if (reading.list.root) expectSameInBothFormats(reading.list);
    ++count;
  }
  EXPECT_GT(count, 80U);
}

TEST_F(Corpora, EveryValidFileIsRead) {
  // Invalid files, and one with a comment in a key, which the original platform refuses too.
  const std::set<std::string> malformed = {"invalid_tag.plist", "malformed_dict.bplist", "recursion.bplist",
                                           "amp.plist", "empty_keys.plist"};
  std::size_t count = 0;
  for (const fs::path& path : filesBelow(*samplesFolder() + "/corpora/libplist/data")) {
    SCOPED_TRACE(path.string());
    const PropertyListReading reading = readAnyFormat(contentsOf(path));
    EXPECT_EQ(!reading.error, !malformed.contains(path.filename().string()))
        << (reading.error ? reading.error->description + "|" + reading.error->binaryDescription : "");
    ++count;
  }
  EXPECT_GT(count, 30U);
}

}  // namespace
}  // namespace tarvel
