#include "tools/command_line.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace tarvel {
namespace {

ParsedCommandLine parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "tarvel");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const ParsedCommandLine parsed = parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
  (void)testing::internal::GetCapturedStdout();
  (void)testing::internal::GetCapturedStderr();
  return parsed;
}

TEST(CommandLine, DefaultsAreYesYesYesNoYes) {
  const ParsedCommandLine parsed = parse({"sort"});
  ASSERT_FALSE(parsed.isDone);
  EXPECT_EQ(parsed.line.command, Command::kSort);
  EXPECT_TRUE(parsed.line.foldersAtTop);
  EXPECT_TRUE(parsed.line.removeDuplicates);
  EXPECT_TRUE(parsed.line.renameSamenamed);
  EXPECT_FALSE(parsed.line.sortBookmarksBar);
  EXPECT_TRUE(parsed.line.backup);
  EXPECT_FALSE(parsed.line.json);
  EXPECT_EQ(parsed.line.file, "");
  EXPECT_EQ(parsed.line.backupFile, "");
}

TEST(CommandLine, EveryOptionCanBeTurned) {
  const CommandLine line = parse({"preview", "--no-folders-at-top", "--no-remove-duplicates", "--no-rename-samenamed",
                                  "--sort-bookmarks-bar", "--no-backup", "--json", "--backup-file", "b", "f"})
                               .line;
  EXPECT_EQ(line.command, Command::kPreview);
  EXPECT_FALSE(line.foldersAtTop);
  EXPECT_FALSE(line.removeDuplicates);
  EXPECT_FALSE(line.renameSamenamed);
  EXPECT_TRUE(line.sortBookmarksBar);
  EXPECT_FALSE(line.backup);
  EXPECT_TRUE(line.json);
  EXPECT_EQ(line.backupFile, "b");
  EXPECT_EQ(line.file, "f");
}

TEST(CommandLine, CountsOfCopiesAreDecimalAndHoweverLarge) {
  const auto keep = [](const char* count) { return parse({"backup", "prune", "--keep", count}).line.copies.keep; };
  EXPECT_EQ(keep("0"), 0U);
  EXPECT_EQ(keep("010"), 10U);
  EXPECT_EQ(keep("08"), 8U);
  EXPECT_EQ(keep("18446744073709551617"), SIZE_MAX);
}

TEST(CommandLine, TheLastOfTwoOppositesCounts) {
  EXPECT_TRUE(parse({"sort", "--no-backup", "--backup"}).line.backup);
  EXPECT_FALSE(parse({"sort", "--backup", "--no-backup"}).line.backup);
}

TEST(CommandLine, WrongUsageIsDoneWith64) {
  for (const auto& arguments : std::vector<std::vector<const char*>>{{},
                                                                     {"sort", "a", "b"},
                                                                     {"sort", "--unknown"},
                                                                     {"dump", "--format", "yaml"},
                                                                     {"restore", "--json"},
                                                                     {"restore", "--from", ""},
                                                                     {"restore", "--from=", "f"},
                                                                     {"restore", "--from=", "--yes", "f"},
                                                                     {"restore", "--yes"},
                                                                     {"backup", "prune"},
                                                                     {"backup", "prune", "--keep", ""},
                                                                     {"backup", "prune", "--keep", "-1"},
                                                                     {"backup", "prune", "--keep", "0x1"},
                                                                     {"what"}}) {
    const ParsedCommandLine parsed = parse(arguments);
    EXPECT_TRUE(parsed.isDone);
    EXPECT_EQ(parsed.exitStatus, kExitUsage);
  }
}

TEST(CommandLine, HelpAndVersionAreDoneWith0) {
  for (const auto& arguments : std::vector<std::vector<const char*>>{{"--help"}, {"sort", "--help"}, {"--version"}}) {
    const ParsedCommandLine parsed = parse(arguments);
    EXPECT_TRUE(parsed.isDone);
    EXPECT_EQ(parsed.exitStatus, 0);
  }
}

TEST(CommandLine, TheClosestOptionIsFoundAndNothingFarAway) {
  const std::vector<std::string> known = {"--folders-at-top", "--no-folders-at-top", "--json"};
  EXPECT_EQ(closestOption("--folder-at-top", known), "--folders-at-top");
  EXPECT_EQ(closestOption("--jsno", known), "--json");
  EXPECT_EQ(closestOption("--completely-different", known), "");
  EXPECT_EQ(closestOption("--x", {}), "");
}

}  // namespace
}  // namespace tarvel
