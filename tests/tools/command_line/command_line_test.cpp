#include "tools/command_line/command_line.h"
#include "tools/command_line/argument_parser.h"

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

TEST(CommandLine, RulesThatAreNotGivenAreLeftToTheSettings) {
  const ParsedCommandLine parsed = parse({"sort"});
  ASSERT_FALSE(parsed.isDone);
  EXPECT_EQ(parsed.line.command, Command::kSort);
  EXPECT_EQ(parsed.line.foldersAtTop, std::nullopt);
  EXPECT_EQ(parsed.line.removeDuplicates, std::nullopt);
  EXPECT_EQ(parsed.line.renameSamenamed, std::nullopt);
  EXPECT_EQ(parsed.line.sortBookmarksBar, std::nullopt);
  EXPECT_FALSE(parsed.line.ignoresSettings);
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
  EXPECT_EQ(line.foldersAtTop, false);
  EXPECT_EQ(line.removeDuplicates, false);
  EXPECT_EQ(line.renameSamenamed, false);
  EXPECT_EQ(line.sortBookmarksBar, true);
  EXPECT_TRUE(parse({"preview", "--no-settings"}).line.ignoresSettings);
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
  EXPECT_EQ(parse({"sort", "--no-folders-at-top", "--folders-at-top"}).line.foldersAtTop, true);
  EXPECT_EQ(parse({"sort", "--folders-at-top", "--no-folders-at-top"}).line.foldersAtTop, false);
}

TEST(CommandLine, ADiffTakesTwoFilesAndAnswersAsTextUnlessToldOtherwise) {
  const CommandLine line = parse({"diff", "old", "new"}).line;
  EXPECT_EQ(line.command, Command::kDiff);
  EXPECT_EQ(line.file, "old");
  EXPECT_EQ(line.newFile, "new");
  EXPECT_FALSE(line.json);
  EXPECT_EQ(line.htmlFile, "");
  EXPECT_FALSE(line.opensPage);
  EXPECT_EQ(parse({"diff", "--text", "old", "new"}).exitStatus, 0);
  EXPECT_TRUE(parse({"diff", "--json", "old", "new"}).line.json);
  EXPECT_TRUE(parse({"diff", "old", "new", "--open"}).line.opensPage);
  EXPECT_EQ(parse({"diff", "--color", "never", "old", "new"}).line.color, ColorChoice::kNever);
}

TEST(CommandLine, ThePageOfADiffGoesToStandardOutputOrWhereItsOwnWordSays) {
  for (const auto& arguments : std::vector<std::vector<const char*>>{
           {"diff", "--html", "old", "new"}, {"diff", "old", "--html", "new"}, {"diff", "old", "new", "--html=-"}}) {
    const ParsedCommandLine parsed = parse(arguments);
    ASSERT_FALSE(parsed.isDone);
    EXPECT_EQ(parsed.line.htmlFile, "-");
    EXPECT_EQ(parsed.line.file, "old");
    EXPECT_EQ(parsed.line.newFile, "new");
  }
  EXPECT_EQ(parse({"diff", "--html=page.html", "old", "new"}).line.htmlFile, "page.html");
  EXPECT_EQ(parse({"diff", "--html=a b=c", "old", "new"}).line.htmlFile, "a b=c");
}

TEST(CommandLine, ThePageOfAPreviewHasAFileAndTheBookmarksTheirs) {
  const CommandLine line = parse({"preview", "--html", "page.html", "--open", "file"}).line;
  EXPECT_EQ(line.htmlFile, "page.html");
  EXPECT_EQ(line.file, "file");
  EXPECT_TRUE(line.opensPage);
  EXPECT_EQ(parse({"preview", "--html=page.html"}).line.htmlFile, "page.html");
  EXPECT_EQ(parse({"preview", "--html", "-"}).line.htmlFile, "-");
  EXPECT_EQ(parse({"preview"}).line.htmlFile, "");
}

TEST(CommandLine, OneAnswerAtATime) {
  for (const auto& arguments : std::vector<std::vector<const char*>>{{"diff", "--text", "--json", "a", "b"},
                                                                     {"diff", "--text", "--html", "a", "b"},
                                                                     {"diff", "--text", "--open", "a", "b"},
                                                                     {"diff", "--json", "--html=x", "a", "b"},
                                                                     {"diff", "--open", "--json", "a", "b"},
                                                                     {"preview", "--json", "--html", "x"},
                                                                     {"preview", "--open", "--json"}}) {
    const ParsedCommandLine parsed = parse(arguments);
    EXPECT_TRUE(parsed.isDone) << arguments[1] << " " << arguments[2];
    EXPECT_EQ(parsed.exitStatus, kExitUsage) << arguments[1] << " " << arguments[2];
  }
}

TEST(CommandLine, APageNeedsANameForItsFile) {
  for (const auto& arguments : std::vector<std::vector<const char*>>{
           {"preview", "--html="}, {"preview", "--html", ""}, {"preview", "--html"}}) {
    EXPECT_EQ(parse(arguments).exitStatus, kExitUsage);
  }
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
                                                                     {"backup", "prune"},
                                                                     {"backup", "prune", "--keep", ""},
                                                                     {"backup", "prune", "--keep", "-1"},
                                                                     {"backup", "prune", "--keep", "0x1"},
                                                                     {"diff"},
                                                                     {"diff", "a"},
                                                                     {"diff", "a", "b", "c"},
                                                                     {"diff", "--backup-file", "a", "b"},
                                                                     {"sort", "--html", "x"},
                                                                     {"sort", "--open"},
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
