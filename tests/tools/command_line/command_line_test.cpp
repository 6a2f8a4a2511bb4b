#include "tools/command_line/command_line.h"
#include "tools/command_line/argument_parser.h"
#include "tools/command_line/closest_name.h"
#include "tools/command_line/command_definition.h"
#include "tools/command_line/command_help.h"
#include "tools/command_line/help_text.h"
#include "tools/terminal/text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
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
  EXPECT_FALSE(parsed.line.output.isJson);
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
  EXPECT_TRUE(line.output.isJson);
  EXPECT_EQ(line.backupFile, "b");
  EXPECT_EQ(line.file, "f");
}

TEST(CommandLine, CountsAreDecimalAndOfAnySize) {
  const auto keep = [](const char* count) { return parse({"backup", "prune", "--keep", count}).line.backups.keep; };
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

TEST(CommandLine, GlobalOptionsStandBeforeOrAfterTheCommand) {
  for (const auto& arguments : std::vector<std::vector<const char*>>{{"--json", "-q", "--no-pager", "sort", "f"},
                                                                     {"sort", "--json", "-q", "--no-pager", "f"},
                                                                     {"sort", "f", "--no-pager", "--json", "-q"}}) {
    const CommandLine line = parse(arguments).line;
    EXPECT_TRUE(line.output.isJson);
    EXPECT_TRUE(line.output.isQuiet);
    EXPECT_FALSE(line.output.usesPager);
    EXPECT_EQ(line.file, "f");
  }
  EXPECT_EQ(parse({"--color", "never", "diff", "a", "b"}).line.output.color, ColorChoice::kNever);
  EXPECT_EQ(parse({"diff", "a", "b", "--color=always"}).line.output.color, ColorChoice::kAlways);
  EXPECT_TRUE(parse({"settings", "get", "-v", "folders-at-top"}).line.output.isVerbose);
}

TEST(CommandLine, FlagsCanBeBunched) {
  for (const char* bunch : {"-nq", "-qn"}) {
    const CommandLine line = parse({"sort", bunch, "f"}).line;
    EXPECT_TRUE(line.isDryRun) << bunch;
    EXPECT_TRUE(line.output.isQuiet) << bunch;
    EXPECT_EQ(line.file, "f") << bunch;
  }
  EXPECT_TRUE(parse({"restore", "-yv"}).line.backups.isAgreed);
  EXPECT_EQ(parse({"dump", "-fjson"}).line.dumpFormat, DumpFormat::kJson);
  EXPECT_EQ(parse({"agent", "log", "-n20"}).line.logLines, 20U);
}

TEST(CommandLine, WhatFollowsTwoDashesIsNotAnOption) {
  const CommandLine line = parse({"sort", "--", "--json"}).line;
  EXPECT_EQ(line.file, "--json");
  EXPECT_FALSE(line.output.isJson);
}

TEST(CommandLine, TheNameIsTheWholeCommandWithItsDefault) {
  EXPECT_EQ(parse({"sort"}).line.name, "sort");
  EXPECT_EQ(parse({"backup"}).line.name, "backup create");
  EXPECT_EQ(parse({"backup", "f"}).line.name, "backup create");
  EXPECT_EQ(parse({"backup", "list"}).line.name, "backup list");
  EXPECT_EQ(parse({"settings"}).line.name, "settings list");
  EXPECT_EQ(parse({"agent"}).line.name, "agent status");
  EXPECT_EQ(parse({"browser"}).line.name, "browser status");
}

TEST(CommandLine, ADryRunOfASortIsAPreview) {
  EXPECT_EQ(parse({"sort", "-n"}).line.command, Command::kPreview);
  EXPECT_EQ(parse({"sort", "--dry-run"}).line.command, Command::kPreview);
  EXPECT_TRUE(parse({"restore", "-n"}).line.isDryRun);
  EXPECT_TRUE(parse({"backup", "prune", "--keep", "1", "-n"}).line.isDryRun);
}

TEST(CommandLine, ADiffTakesTwoFiles) {
  const CommandLine line = parse({"diff", "old", "new"}).line;
  EXPECT_EQ(line.command, Command::kDiff);
  EXPECT_EQ(line.file, "old");
  EXPECT_EQ(line.newFile, "new");
  EXPECT_FALSE(line.wantsPage());
  EXPECT_EQ(parse({"diff", "-", "new"}).line.file, "-");
}

TEST(CommandLine, APageHasOneGrammarForPreviewAndDiff) {
  for (const std::vector<const char*>& files : {std::vector<const char*>{"preview"}, {"diff", "old", "new"}}) {
    const auto with = [&files](std::vector<const char*> options) {
      options.insert(options.begin(), files.begin(), files.end());
      return parse(std::move(options)).line;
    };
    EXPECT_TRUE(with({"--html"}).wantsPage());
    EXPECT_EQ(with({"--html"}).outputFile, "");
    EXPECT_TRUE(with({"-o", "page.html"}).wantsPage());
    EXPECT_EQ(with({"--html", "-o", "page.html"}).outputFile, "page.html");
    EXPECT_TRUE(with({"--open"}).wantsPage());
    EXPECT_TRUE(with({"--open"}).opensPage);
    // The older spelling.
    EXPECT_EQ(with({"--html=page.html"}).outputFile, "page.html");
    EXPECT_EQ(with({"--html=-"}).outputFile, "");
  }
  EXPECT_EQ(parse({"diff", "--html", "old", "new"}).line.file, "old");
}

TEST(CommandLine, ContradictionsAreRefused) {
  for (const auto& arguments : std::vector<std::vector<const char*>>{{"diff", "--json", "--html", "a", "b"},
                                                                     {"diff", "--json", "--open", "a", "b"},
                                                                     {"diff", "--json", "-o", "x", "a", "b"},
                                                                     {"diff", "-", "-"},
                                                                     {"preview", "--json", "--html"},
                                                                     {"preview", "--open", "--json"},
                                                                     {"preview", "-q", "-v"},
                                                                     {"agent", "log", "--follow", "--json"},
                                                                     {"sort", "-"},
                                                                     {"restore", "-"}}) {
    EXPECT_EQ(parse(arguments).exitStatus, kExitUsage) << arguments[0] << " " << arguments[1];
  }
}

TEST(CommandLine, APathMayNotBeEmpty) {
  for (const auto& arguments : std::vector<std::vector<const char*>>{
           {"preview", "--html="}, {"preview", "-o", ""}, {"preview", ""}, {"sort", "--backup-file="}}) {
    EXPECT_EQ(parse(arguments).exitStatus, kExitUsage);
  }
}

TEST(CommandLine, WrongUsageIsDoneWith64) {
  for (const auto& arguments : std::vector<std::vector<const char*>>{{},
                                                                     {"sort", "a", "b"},
                                                                     {"sort", "--unknown"},
                                                                     {"dump", "--format", "yaml"},
                                                                     {"restore", "--html"},
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
                                                                     {"what"},
                                                                     {"help", "what"},
                                                                     {"help", "backup", "prun"},
                                                                     {"help", "sort", "sort"},
                                                                     {"preview", "--html", "page.html"},
                                                                     {"diff", "--html", "page.html", "b"}}) {
    const ParsedCommandLine parsed = parse(arguments);
    EXPECT_TRUE(parsed.isDone);
    EXPECT_EQ(parsed.exitStatus, kExitUsage);
  }
}

TEST(CommandLine, HelpAndVersionAreDoneWith0) {
  for (const auto& arguments : std::vector<std::vector<const char*>>{{"--help"},
                                                                     {"-h"},
                                                                     {"help"},
                                                                     {"help", "backup", "list"},
                                                                     {"sort", "--help"},
                                                                     {"--version"},
                                                                     {"-V"},
                                                                     {"sort", "-V"}}) {
    const ParsedCommandLine parsed = parse(arguments);
    EXPECT_TRUE(parsed.isDone);
    EXPECT_EQ(parsed.exitStatus, 0);
  }
}

TEST(CommandLine, TheClosestNameIsFoundAndNothingFarAway) {
  const std::vector<std::string> known = {"--folders-at-top", "--no-folders-at-top", "--json"};
  EXPECT_EQ(closestName("--folder-at-top", known), "--folders-at-top");
  EXPECT_EQ(closestName("--jsno", known), "--json");
  EXPECT_EQ(closestName("--completely-different", known), "");
  EXPECT_EQ(closestName("--x", {}), "");
}

void forEachCommand(const CLI::App& app, const std::string& name,
                    const std::function<void(const CLI::App&, const std::string&)>& look) {
  look(app, name);
  for (const CLI::App* command : app.get_subcommands({})) {
    forEachCommand(*command, (name.empty() ? "" : name + " ") + command->get_name(), look);
  }
}

TEST(HelpText, EveryCommandHasItsOwnExamplesAndExitStatuses) {
  CLI::App app;
  CommandLine line;
  defineCommandLine(app, line);
  forEachCommand(app, "", [](const CLI::App&, const std::string& name) {
    EXPECT_EQ(commandHelp(name).name, name);
    ASSERT_EQ(commandHelp(name).examples.size(), 2U) << name;
    for (const std::string_view example : commandHelp(name).examples) {
      EXPECT_TRUE(example.starts_with("tarvel " + name)) << example;
    }
    EXPECT_FALSE(commandHelp(name).statuses.empty());
  });
}

TEST(HelpText, FitsTheWidth) {
  CLI::App app;
  CommandLine line;
  defineCommandLine(app, line);
  for (const std::size_t columns : {60U, 80U, 100U}) {
    forEachCommand(app, "", [columns](const CLI::App& command, const std::string& name) {
      std::istringstream lines(helpText(command, name, columns));
      for (std::string one; std::getline(lines, one);) {
        // An example is to be pasted, so it stays on one line.
        if (one.starts_with("  tarvel ")) continue;
        EXPECT_LE(one.size(), columns) << one;
      }
    });
  }
}

TEST(HelpText, ARuleAndItsOppositeAreOneOption) {
  CLI::App app;
  CommandLine line;
  defineCommandLine(app, line);
  const std::string help = helpText(*app.get_subcommand("preview"), "preview", 80);
  EXPECT_NE(help.find("--[no-]folders-at-top"), std::string::npos);
  EXPECT_EQ(help.find("{false}"), std::string::npos);
  EXPECT_EQ(help.find("backup-file"), std::string::npos);
}

TEST(ShellWord, IsTheWordItselfToAShellAndSafeToShow) {
  EXPECT_EQ(shellWord("a b"), "'a b'");
  EXPECT_EQ(shellWord("it's ü"), "'it'\\''s ü'");
  EXPECT_EQ(shellWord("a\nb"), "$'a\\012b'");
  EXPECT_EQ(shellWord("'\\\xFF\n1"), "$'\\047\\134\\377\\0121'");
  EXPECT_EQ(shellWord("a\u202Eb"), "$'a\\342\\200\\256b'");
}

TEST(ReasonOf, IsASentenceWithoutThePath) {
  EXPECT_EQ(reasonOf({13, "“/a b/c”: Permission denied"}), "Permission denied.");
  EXPECT_EQ(reasonOf({13, "“/a”: b”: Permission denied"}), "Permission denied.");
  EXPECT_EQ(reasonOf({27, "“/a” is larger than 1 MiB."}), "“/a” is larger than 1 MiB.");
  EXPECT_EQ(reasonOf({5, "\x1B"}), "\\u{001B}.");
}

TEST(Wrapped, BreaksAtSpacesAndLeavesLongWordsWhole) {
  EXPECT_EQ(wrapped("one two three", 7), "one two\nthree");
  EXPECT_EQ(wrapped("one two three", 7, 2), "one two\n  three");
  EXPECT_EQ(wrapped("averyverylongword x", 5), "averyverylongword\nx");
  EXPECT_EQ(wrapped("“ä” ü", 5), "“ä” ü");
  EXPECT_EQ(wrapped("one two three", 0), "one two three");
}

}  // namespace
}  // namespace tarvel
