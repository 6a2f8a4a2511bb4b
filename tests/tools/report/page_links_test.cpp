// Pages in folders where other users write: links, other users' files, and changes between the check and the write.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "platform/linux/files/linux_file_manager.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"
#include "tests/tools/captured_output.h"
#include "tools/report/page_output.h"
#include "tools/report/report_html.h"
#include "tools/terminal/answer.h"

namespace tarvel {
namespace {

constexpr unsigned kVictim = 64001;
constexpr unsigned kAttacker = 64002;

const std::string kPage = std::string(kPageBeginning) + "<p>\n";

struct PageLinks : testing::Test {
  TemporaryDirectory folder;
  LinuxFileManager files;
  std::string complained;

  [[nodiscard]] PageOutput output(const std::string& name) {
    CommandLine line;
    line.outputFile = folder.path(name);
    return {files, line};
  }

  bool isAllowed(const std::string& name) {
    complained.clear();
    for (const std::string& sentence : output(name).refusal({}).sentences) complained += sentence + "\n";
    return complained.empty();
  }

  bool isDelivered(const std::string& name) {
    const Captured captured;
    Answer answer("preview", {});
    const bool is = output(name).deliver(kPage, answer);
    complained = captured.errors.str();
    return is;
  }

  void link(const std::string& target, const std::string& name) const {
    ASSERT_EQ(::symlink(target.c_str(), folder.path(name).c_str()), 0);
  }

  void give(const std::string& name, unsigned user) const {
    ASSERT_EQ(::lchown(folder.path(name).c_str(), user, user), 0);
  }
};

TEST_F(PageLinks, ALinkThatLeadsNowhereIsRefusedAndNothingIsMadeBehindIt) {
  link("target", "page.html");
  EXPECT_FALSE(isAllowed("page.html"));
  EXPECT_NE(complained.find("symbolic link"), std::string::npos) << complained;
  EXPECT_FALSE(isDelivered("page.html"));
  EXPECT_FALSE(std::filesystem::exists(folder.path("target")));
}

TEST_F(PageLinks, AnOlderPageIsNotReplacedThroughALink) {
  folder.write("real.html", kPage + "old");
  link("real.html", "page.html");
  EXPECT_FALSE(isAllowed("page.html"));
  EXPECT_FALSE(isDelivered("page.html"));
  EXPECT_EQ(folder.read("real.html"), kPage + "old");
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("page.html")));
}

TEST_F(PageLinks, ALinkThatAppearsAfterTheCheckIsNotFollowed) {
  folder.write("mine", "keep");
  EXPECT_TRUE(isAllowed("page.html"));
  link("mine", "page.html");
  EXPECT_FALSE(isDelivered("page.html"));
  EXPECT_NE(complained.find("symbolic link"), std::string::npos) << complained;
  EXPECT_EQ(folder.read("mine"), "keep");
}

TEST_F(PageLinks, AFileThatAppearsAfterTheCheckIsNotReplaced) {
  EXPECT_TRUE(isAllowed("page.html"));
  folder.write("page.html", "keep");
  EXPECT_FALSE(isDelivered("page.html"));
  EXPECT_EQ(folder.read("page.html"), "keep");
}

TEST_F(PageLinks, APageThatBecameSomethingElseAfterTheCheckIsNotReplaced) {
  folder.write("page.html", kPage);
  EXPECT_TRUE(isAllowed("page.html"));
  folder.write("page.html", "keep");
  EXPECT_FALSE(isDelivered("page.html"));
  EXPECT_EQ(folder.read("page.html"), "keep");
}

TEST_F(PageLinks, APlaceThatCannotBeLookedAtIsRefused) {
  folder.write("file", "x");
  link("circle", "circle");
  ASSERT_EQ(::mkdir(folder.path("locked").c_str(), 0), 0);
  for (const char* name : {"file/page.html", "circle/page.html"}) {
    EXPECT_FALSE(isAllowed(name)) << name;
    EXPECT_FALSE(complained.empty());
  }
  EXPECT_EQ(inChildWithoutPrivileges([this] { return isAllowed("locked/page.html") ? 1 : 0; }), 0);
}

TEST_F(PageLinks, AnotherUsersFileIsNeitherFilledNorReplaced) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  folder.write("empty", "");
  folder.write("page.html", kPage + "old");
  for (const char* name : {"empty", "page.html"}) {
    ASSERT_EQ(::chmod(folder.path(name).c_str(), 0666), 0);
    give(name, kAttacker);
    const std::string before = folder.read(name);
    EXPECT_FALSE(isAllowed(name)) << name;
    EXPECT_NE(complained.find("another user"), std::string::npos) << complained;
    EXPECT_FALSE(isDelivered(name)) << name;
    EXPECT_EQ(folder.read(name), before);
  }
}

TEST_F(PageLinks, RootGivesNoPageAway) {
  if (::geteuid() != 0) GTEST_SKIP() << "this is about root";
  EXPECT_TRUE(isDelivered("page.html"));
  EXPECT_TRUE(isDelivered("page.html"));
  struct stat status {};
  ASSERT_EQ(::stat(folder.path("page.html").c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 0U);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

/// A user who writes pages into a shared folder, and another who plants links there to the first one's own files.
struct SharedFolder : PageLinks, testing::WithParamInterface<mode_t> {
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "two users take root";
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(::mkdir(folder.path("home").c_str(), 0700), 0);
    folder.write("home/.profile", "keep");
    give("home", kVictim);
    give("home/.profile", kVictim);
    ASSERT_EQ(::mkdir(folder.path("shared").c_str(), 0777), 0);
    ASSERT_EQ(::chmod(folder.path("shared").c_str(), GetParam()), 0);
  }

  /// Plants one link after another where the page goes, until this process is ended.
  [[nodiscard]] int plantLinks() const {
    const std::string page = folder.path("shared/page.html");
    for (bool isDangling = false;; isDangling = !isDangling) {
      const std::string target = folder.path(isDangling ? "home/.login" : "home/.profile");
      [[maybe_unused]] const int planted = ::symlink(target.c_str(), page.c_str());
      (void)::unlink(page.c_str());
    }
  }

  /// How many of many pages were written; -1 as soon as a file of the victim's own is not as it was.
  [[nodiscard]] int writePages() {
    constexpr int kRounds = 400;
    int written = 0;
    for (int i = 0; i < kRounds; ++i) {
      if (isAllowed("shared/page.html") && isDelivered("shared/page.html")) ++written;
      if (folder.read("home/.profile") != "keep" || std::filesystem::exists(folder.path("home/.login"))) return -1;
      (void)::unlink(folder.path("shared/page.html").c_str());
    }
    return written;
  }
};

TEST_P(SharedFolder, NoLinkOfAnotherUserMakesAPageOfAnOwnFile) {
  const ProcessOf attacker(kAttacker, [this] { return plantLinks(); });
  constexpr int kOverwritten = 90;
  EXPECT_EQ(inChildAs(kVictim, [this] { return writePages() < 0 ? kOverwritten : 0; }), 0);
}

INSTANTIATE_TEST_SUITE_P(Modes, SharedFolder, testing::Values(mode_t{01777}, mode_t{0777}));

}  // namespace
}  // namespace tarvel
