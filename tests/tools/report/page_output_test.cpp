#include "tools/report/page_output.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/linux/files/linux_file_manager.h"
#include "tests/support/temporary_directory.h"
#include "tests/tools/captured_output.h"
#include "tools/report/report_html.h"
#include "tools/terminal/answer.h"

namespace tarvel {
namespace {

/// An environment variable for the time of a test.
class Variable {
 public:
  Variable(const char* name, const std::string& value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    hadOne_ = std::getenv(name) != nullptr;
    (void)::setenv(name, value.c_str(), 1);
  }
  ~Variable() {
    if (hadOne_) {
      (void)::setenv(name_, old_.c_str(), 1);
    } else {
      (void)::unsetenv(name_);
    }
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  const char* name_;
  std::string old_;
  bool hadOne_;
};

const std::string kWrittenPage = std::string(kPageBeginning) + "<p>\n";

struct PageOutputs : testing::Test {
  TemporaryDirectory folder;
  LinuxFileManager files;
  std::string said;
  std::string complained;

  PageOutputs() { folder.write("Bookmarks.plist", "bookmarks"); }

  [[nodiscard]] PageOutput output(const std::string& path, bool opens = false) {
    CommandLine line;
    line.html = "-";
    line.outputFile = path == "-" ? "" : path;
    line.opensPage = opens;
    return {files, line};
  }

  bool isAllowed(const std::string& path, const std::vector<std::string>& more = {}) {
    std::vector<std::string> untouchable = {folder.path("Bookmarks.plist")};
    untouchable.insert(untouchable.end(), more.begin(), more.end());
    complained.clear();
    for (const std::string& sentence : output(path).refusal(untouchable).sentences) complained += sentence + "\n";
    return complained.empty();
  }

  bool deliver(const PageOutput& page) {
    const Captured captured;
    Answer answer("preview", {});
    const bool is = page.deliver(kWrittenPage, answer);
    said = captured.output.str();
    complained = captured.errors.str();
    return is;
  }
};

TEST_F(PageOutputs, AFileThatHoldsBookmarksIsRefusedThroughEveryPath) {
  std::filesystem::create_directory(folder.path("d"));
  std::filesystem::create_symlink("../Bookmarks.plist", folder.path("d/link"));
  std::filesystem::create_symlink(".", folder.path("here"));
  std::filesystem::create_hard_link(folder.path("Bookmarks.plist"), folder.path("hard"));
  for (const char* name : {"Bookmarks.plist", "d/../Bookmarks.plist", "./Bookmarks.plist", "d/link", "hard",
                           "here/Bookmarks.plist", "here/here/hard"}) {
    EXPECT_FALSE(isAllowed(folder.path(name))) << name;
    EXPECT_NE(complained.find("holds bookmarks"), std::string::npos) << complained;
  }
}

TEST_F(PageOutputs, ThePathOfABackupThatDoesNotExistYetIsRefusedToo) {
  std::filesystem::create_directory(folder.path("d"));
  std::filesystem::create_symlink(".", folder.path("here"));
  for (const char* name : {"Copy.plist", "d/../Copy.plist", "here/Copy.plist", ".//Copy.plist"}) {
    EXPECT_FALSE(isAllowed(folder.path(name), {folder.path("Copy.plist")})) << name;
  }
  EXPECT_TRUE(isAllowed(folder.path("Copy.html"), {folder.path("Copy.plist")}));
}

TEST_F(PageOutputs, APageIsRefusedWhereItIsToHoldBookmarks) {
  folder.write("page.html", kWrittenPage);
  EXPECT_FALSE(isAllowed(folder.path("page.html"), {folder.path("page.html")}));
}

TEST_F(PageOutputs, AForeignFileIsRefused) {
  folder.write("notes.html", "<!DOCTYPE html>\n<html lang=\"en\">\n<p>Mine</p>\n");
  folder.write("short", std::string(kPageBeginning.substr(0, kPageBeginning.size() - 1)));
  ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
  for (const std::string& name :
       {std::string("notes.html"), std::string("short"), std::string("pipe"), std::string(".")}) {
    EXPECT_FALSE(isAllowed(folder.path(name))) << name;
    EXPECT_NE(complained.find("Something else"), std::string::npos) << complained;
  }
  EXPECT_FALSE(isAllowed("/dev/null"));
}

TEST_F(PageOutputs, AnOlderPageAndAnEmptyFileAreReplaced) {
  folder.write("page.html", kWrittenPage + "old");
  folder.write("empty", "");
  EXPECT_TRUE(isAllowed(folder.path("page.html")));
  EXPECT_TRUE(isAllowed(folder.path("empty")));
  EXPECT_TRUE(isAllowed(folder.path("new.html")));
  EXPECT_TRUE(deliver(output(folder.path("page.html"))));
  EXPECT_EQ(folder.read("page.html"), kWrittenPage);
  EXPECT_EQ(said, "The page was written to “" + folder.path("page.html") + "”.\n");
}

TEST_F(PageOutputs, AComplaintCannotSteerTheTerminal) {
  folder.write("x\x1B[2J", "mine");
  EXPECT_FALSE(isAllowed(folder.path("x\x1B[2J")));
  EXPECT_EQ(complained.find('\x1B'), std::string::npos);
  EXPECT_NE(complained.find("\\u{001B}[2J"), std::string::npos);
}

TEST_F(PageOutputs, WithoutAFileThePageGoesToStandardOutput) {
  EXPECT_TRUE(isAllowed("-"));
  EXPECT_TRUE(deliver(output("-")));
  EXPECT_EQ(said, kWrittenPage);
  EXPECT_EQ(complained, "");
  EXPECT_FALSE(std::filesystem::exists("-"));
}

TEST_F(PageOutputs, AFailedWriteIsReportedAndLeavesNothing) {
  EXPECT_FALSE(deliver(output(folder.path("none/page.html"))));
  EXPECT_EQ(said, "");
  EXPECT_NE(complained.find("none/page.html"), std::string::npos);
  EXPECT_EQ(folder.entryCount(), 1U);
}

/// A program called as the opener is, that notes what it was given.
struct Opened : PageOutputs {
  Variable path{"PATH", folder.path("bin")};
  Variable cache{"XDG_CACHE_HOME", folder.path("cache")};

  void install() const {
    std::filesystem::create_directory(folder.path("bin"));
    folder.write("bin/xdg-open", "#!/bin/sh\nprintf '%s|' \"$#\" \"$@\" >'" + folder.path("given") + "'\n");
    std::filesystem::permissions(folder.path("bin/xdg-open"), std::filesystem::perms::owner_all);
  }

  /// What the opener was called with, once it has ended.
  [[nodiscard]] std::string given() const {
    int status = 0;
    EXPECT_GT(::wait(&status), 0);
    return folder.read("given");
  }
};

TEST_F(Opened, APageWithoutAPlaceGoesIntoTheCacheAndIsOpened) {
  install();
  EXPECT_TRUE(deliver(output("", true)));
  EXPECT_EQ(given(), "1|" + folder.path("cache/Tarvel/preview.html") + "|");
  EXPECT_EQ(folder.read("cache/Tarvel/preview.html"), kWrittenPage);
}

TEST_F(Opened, APlaceOfItsOwnIsKept) {
  install();
  EXPECT_TRUE(deliver(output(folder.path("-rf $(x).html"), true)));
  EXPECT_EQ(given(), "1|" + folder.path("-rf $(x).html") + "|");
  EXPECT_FALSE(std::filesystem::exists(folder.path("cache")));
}

TEST_F(Opened, APageForStandardOutputIsOpenedFromTheCache) {
  install();
  EXPECT_TRUE(deliver(output("-", true)));
  EXPECT_EQ(given(), "1|" + folder.path("cache/Tarvel/preview.html") + "|");
  EXPECT_EQ(said, "The page was written to “" + folder.path("cache/Tarvel/preview.html") + "”.\n");
}

TEST_F(Opened, ARelativeCacheFolderIsIgnored) {
  install();
  const Variable relative("XDG_CACHE_HOME", "cache");
  const Variable home("HOME", folder.path("home"));
  EXPECT_TRUE(deliver(output("", true)));
  EXPECT_EQ(given(), "1|" + folder.path("home/.cache/Tarvel/preview.html") + "|");
}

TEST_F(Opened, WithoutAnOpenerThePageIsWrittenAndTheFailureReported) {
  EXPECT_FALSE(deliver(output("", true)));
  EXPECT_EQ(folder.read("cache/Tarvel/preview.html"), kWrittenPage);
  EXPECT_NE(said.find("cache/Tarvel/preview.html"), std::string::npos);
  EXPECT_NE(complained.find("xdg-open"), std::string::npos);
  EXPECT_EQ(openOnDesktop("/x"), ENOENT);
}

TEST_F(Opened, OpensNothingUnasked) {
  install();
  EXPECT_TRUE(deliver(output(folder.path("page.html"))));
  EXPECT_EQ(::wait(nullptr), -1);
  EXPECT_EQ(errno, ECHILD);
}

}  // namespace
}  // namespace tarvel
