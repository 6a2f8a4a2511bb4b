#include "platform/linux/launch/desktop_entry.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "tests/support/launching_fixture.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ExecLine, IsSplitAtSpacesAndTabs) {
  EXPECT_THAT(wordsOfExecLine("a b  c"), ElementsAre("a", "b", "c"));
  EXPECT_THAT(wordsOfExecLine(" \ta\t"), ElementsAre("a"));
  EXPECT_THAT(wordsOfExecLine(""), IsEmpty());
}

TEST(ExecLine, QuotesKeepWordsTogetherAndBackslashesEscapeWithinThem) {
  EXPECT_THAT(wordsOfExecLine("\"a b\" c\"d e\""), ElementsAre("a b", "cd e"));
  EXPECT_THAT(wordsOfExecLine("a \"\" b"), ElementsAre("a", "", "b"));
  EXPECT_THAT(wordsOfExecLine("a \"x \\\"y\\\" \\$z \\` \\\\\""), ElementsAre("a", "x \"y\" $z ` \\"));
  EXPECT_THAT(wordsOfExecLine("a \\ b"), ElementsAre("a", "\\", "b"));
}

TEST(ExecLine, MalformedQuotingIsRejected) {
  EXPECT_THAT(wordsOfExecLine("a \"open"), IsEmpty());
  EXPECT_THAT(wordsOfExecLine("a \"open\\\""), IsEmpty());
}

TEST(ExecLine, FieldCodesAreDroppedAndTwoPercentSignsBecomeOne) {
  EXPECT_THAT(wordsOfExecLine("a %f %F %u %% %i%c"), ElementsAre("a", "%"));
  EXPECT_THAT(wordsOfExecLine("a --file=%f 5%%%u"), ElementsAre("a", "--file=", "5%"));
  EXPECT_THAT(wordsOfExecLine("a %"), ElementsAre("a", "%"));
}

struct DesktopFile : Launching {
  [[nodiscard]] std::optional<ProgramCommand> command(const std::string& entries) const {
    writeDesktopFile("some.desktop", entries);
    return commandOfDesktopFile(directory.path("some.desktop"));
  }
  [[nodiscard]] std::optional<ProgramCommand> commandOfText(const std::string& text) const {
    directory.write("some.desktop", text);
    return commandOfDesktopFile(directory.path("some.desktop"));
  }
};

TEST_F(DesktopFile, RunsItsExecLine) {
  const std::string path = program("a recorder");
  writeDesktopFile("some.desktop",
                   "Exec=\"" + path + "\" --flag \"two words\" %U 100%% plain\n[Other]\nExec=/bin/false\n");
  EXPECT_TRUE(workspace.launchApplication(directory.path("some.desktop")));
  EXPECT_THAT(waitForNotes().arguments, ElementsAre(path, "--flag", "two words", "100%", "plain"));
}

TEST_F(DesktopFile, PathIsTheWorkingDirectory) {
  std::filesystem::create_directory(directory.path("there"));
  writeDesktopFile("some.desktop", "Exec=" + program("recorder") + "\nPath=" + directory.path("there") + "\n");
  EXPECT_TRUE(workspace.launchApplication(directory.path("some.desktop")));
  EXPECT_EQ(waitForNotes().facts.at("folder"), std::filesystem::canonical(directory.path("there")).string());
}

TEST_F(DesktopFile, AnInvalidPathMeansTheHomeFolder) {
  for (const std::string& folder : {directory.path("missing"), std::string("relative"), program("recorder")}) {
    EXPECT_EQ(startingFolderOf({"/bin/true", {"true"}, folder}), directory.path()) << folder;
  }
}

TEST_F(DesktopFile, AProgramNameIsLookedUpInPath) {
  const std::string before = std::getenv("PATH");
  program("folder/tarvel-test-program");
  ::setenv("PATH", ("relative::" + directory.path("folder") + ":" + before).c_str(), 1);
  const auto found = command("Exec=tarvel-test-program x\nTryExec=tarvel-test-program\n");
  ::setenv("PATH", before.c_str(), 1);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->program, directory.path("folder/tarvel-test-program"));
  EXPECT_THAT(found->arguments, ElementsAre("tarvel-test-program", "x"));
  EXPECT_FALSE(command("Exec=tarvel-test-program x\n"));
}

TEST_F(DesktopFile, ValueEscapesAreResolvedBeforeExecEscapes) {
  const auto found = command("Exec=/bin/true a\\sb \"\\\\\\\\ \\\\$x\" c\\\\td\n");
  ASSERT_TRUE(found);
  EXPECT_THAT(found->arguments, ElementsAre("/bin/true", "a", "b", "\\ $x", "c\\td"));
}

TEST_F(DesktopFile, CommentsOtherGroupsSpacesAndLineEndingsAreIgnored) {
  const auto found = commandOfText(
      "# Exec=/bin/1\n[First]\nExec=/bin/2\n\n[Desktop Entry]\r\n Type = Application \r\nExec[de]=/bin/3\r\n"
      "Exec = /bin/true x\r\nExec=/bin/4\n[Desktop Action more]\nExec=/bin/5\n");
  ASSERT_TRUE(found);
  EXPECT_THAT(found->arguments, ElementsAre("/bin/true", "x"));
}

TEST_F(DesktopFile, TerminalIsIgnored) { EXPECT_TRUE(command("Exec=/bin/true\nTerminal=true\n")); }

TEST_F(DesktopFile, DBusActivatableIsIgnoredAndExecIsRequired) {
  EXPECT_TRUE(command("Exec=/bin/true\nDBusActivatable=true\n"));
  EXPECT_FALSE(command("DBusActivatable=true\n"));
}

TEST_F(DesktopFile, UnusableDesktopFilesAreNotLaunched) {
  for (const char* entries : {"", "Exec=\n", "Exec=\"/bin/true\n", "Exec=\"\" x\n", "Exec=/bin/true\nHidden=true\n",
                              "Exec=/bin/true\nTryExec=/nowhere/x\n", "Exec=/bin/true\nTryExec=/bin\n",
                              "Exec=/nowhere/x\n", "Exec=bin/true\n", "Exec=%f\n"}) {
    EXPECT_FALSE(command(entries)) << entries;
  }
  EXPECT_FALSE(commandOfText("[Desktop Entry]\nType=Link\nExec=/bin/true\n"));
  EXPECT_FALSE(commandOfText("[Desktop Entry]\nExec=/bin/true\n"));
  EXPECT_FALSE(commandOfText("Type=Application\nExec=/bin/true\n"));
  EXPECT_FALSE(commandOfText("[Desktop Entry]\nType=Application\nExec=/bin/true\n#" + std::string(2 << 20, 'x')));
  EXPECT_FALSE(commandOfDesktopFile(directory.path("missing.desktop")));
  EXPECT_FALSE(commandOfDesktopFile(directory.path()));
}

}  // namespace
}  // namespace tarvel
