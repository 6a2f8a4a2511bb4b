#include "platform/system_platform.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/temporary_directory.h"

namespace tarvel {

namespace {

class RecordedLog final : public SystemLog {
 public:
  void log(std::string_view message) override { lines.emplace_back(message); }

  std::vector<std::string> lines;
};

}  // namespace

TEST(SystemPlatform, ReadsFilesOrdersTitlesAndLaunchesNothing) {
  const TemporaryDirectory folder;
  folder.write("list.plist", "{ Title = \"a\"; }");
  const SystemPlatform system;
  const Platform& platform = system.platform();
  const FileReading reading = platform.fileManager.contentsAtPath(folder.path("list.plist"));
  const PropertyListReading list = platform.propertyLists.propertyListFromData(reading.data);
  EXPECT_EQ(list.list.root.dictionary().string("Title"), "a");
  const std::vector<std::string_view> titles = {"b", "A", "a"};
  const auto ranks = platform.collator.rank(titles);
  EXPECT_GT(ranks[0], ranks[1]);
  EXPECT_EQ(ranks[1], ranks[2]);
  EXPECT_FALSE(platform.workspace.launchApplication("/bin/true"));
}

TEST(SystemPlatform, MessagesAreEnglishIfNoTranslationsAreInstalled) {
  const SystemPlatform system;
  EXPECT_EQ(system.platform().bundle.bundlePath(), "");
  EXPECT_EQ(system.platform().bundle.localizedStringForKeyValue("some text", ""), "some text");
}

TEST(SystemPlatform, LogsOnlyToAGivenLog) {
  RecordedLog log;
  const SystemPlatform logging(log);
  logging.platform().systemLog.log("a line");
  EXPECT_EQ(log.lines, std::vector<std::string>{"a line"});

  const SystemPlatform silent;
  testing::internal::CaptureStderr();
  silent.platform().systemLog.log("another");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace tarvel
