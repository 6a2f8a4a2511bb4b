// Settlement of displaced files, for every state that an interrupted process may leave.

#include "platform/linux/files/displaced_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/linux/files/linux_file_manager.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

struct DisplacedFile : testing::Test {
  TemporaryDirectory directory;
  LinuxFileManager manager;
  std::string name;

  /// A file with these bytes and this mtime, in seconds since the epoch.
  FileVersion make(const std::string& file, const std::string& bytes, time_t date) {
    directory.write(file, bytes);
    const timespec times[2] = {{date, 0}, {date, 0}};
    EXPECT_EQ(::utimensat(AT_FDCWD, directory.path(file).c_str(), times, 0), 0);
    return manager.contentsAtPath(directory.path(file)).version;
  }

  /// The bookmarks file is "f"; these are the versions read and written. One of three files is under the displaced
  /// name.
  void prepare(const std::string& inPlace, const std::string& displaced) {
    const FileVersion read = make("read", "what was read", 1000);
    const FileVersion own = make("own", "sorted", 2000);
    (void)make("save", "a save", 3000);
    (void)make("later", "a later save", 4000);
    name = makeDisplacedName("f", read, own);
    ASSERT_EQ(::rename(directory.path(displaced).c_str(), directory.path(name).c_str()), 0);
    if (!inPlace.empty()) {
      ASSERT_EQ(::rename(directory.path(inPlace).c_str(), directory.path("f").c_str()), 0);
    }
    for (const char* unused : {"read", "own", "save", "later"}) std::filesystem::remove(directory.path(unused));
  }

  Settlement settled() { return settle(placeOf(directory.path("f")), name); }
  std::vector<std::string> kept() { return manager.keptSavesAtPath(directory.path("f")); }
};

TEST_F(DisplacedFile, TheVersionThatWasReadIsRemoved) {
  prepare("own", "read");
  EXPECT_EQ(settled(), Settlement::kReplaced);
  EXPECT_EQ(directory.read("f"), "sorted");
  EXPECT_EQ(directory.entryCount(), 1U);
}

TEST_F(DisplacedFile, OurOwnDisplacedFileIsRemoved) {
  prepare("read", "own");
  EXPECT_EQ(settled(), Settlement::kPutBack);
  EXPECT_EQ(directory.read("f"), "what was read");
  EXPECT_EQ(directory.entryCount(), 1U);
}

TEST_F(DisplacedFile, AConcurrentSaveIsPutBackAndOurFileRemoved) {
  prepare("own", "save");
  EXPECT_EQ(kept(), std::vector<std::string>{directory.path(name)});
  EXPECT_EQ(settled(), Settlement::kPutBack);
  EXPECT_EQ(directory.read("f"), "a save");
  EXPECT_EQ(directory.entryCount(), 1U);
  EXPECT_TRUE(kept().empty());
}

TEST_F(DisplacedFile, OfTwoSavesTheNewerStaysAndTheOlderIsKeptAside) {
  prepare("later", "save");
  EXPECT_EQ(settled(), Settlement::kKept);
  EXPECT_EQ(directory.read("f"), "a later save");
  EXPECT_EQ(directory.read(name), "a save");
  EXPECT_EQ(kept(), std::vector<std::string>{directory.path(name)});
}

TEST_F(DisplacedFile, ANewerDisplacedSaveReplacesAnOlderOne) {
  prepare("save", "later");
  EXPECT_EQ(settled(), Settlement::kKept);
  EXPECT_EQ(directory.read("f"), "a later save");
  EXPECT_EQ(directory.read(name), "a save");
}

TEST_F(DisplacedFile, ASaveIsKeptAsideIfItsFileWasDeleted) {
  prepare("", "save");
  EXPECT_EQ(settled(), Settlement::kKept);
  EXPECT_EQ(directory.read(name), "a save");
}

TEST_F(DisplacedFile, ADisplacedFileWithAWriterIsPutBack) {
  prepare("own", "read");
  const UniqueFd writer(::open(directory.path(name).c_str(), O_RDWR | O_CLOEXEC));
  EXPECT_EQ(settled(), Settlement::kPutBack);
  EXPECT_EQ(directory.read("f"), "what was read");
  EXPECT_EQ(directory.entryCount(), 1U);
}

TEST_F(DisplacedFile, AnyReadOrWriteInTheFolderPutsASaveBack) {
  prepare("own", "save");
  const FileReading reading = manager.contentsAtPath(directory.path("f"));
  EXPECT_EQ(std::string(reading.data.bytes().begin(), reading.data.bytes().end()), "a save");
  EXPECT_EQ(directory.entryCount(), 1U);
  prepare("own", "save");
  const Data data = Data::copyOf("x");
  EXPECT_TRUE(manager.writeDataToPath({{data.bytes()}, {}}, directory.path("g")).ok());
  EXPECT_EQ(directory.read("f"), "a save");
}

TEST_F(DisplacedFile, InASharedFolderAnotherUsersFileIsNotPutBack) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can make another user's file";
  prepare("own", "save");
  constexpr uid_t kOtherUserNumber = 65534;
  ASSERT_EQ(::chmod(directory.path().c_str(), 01777), 0);
  ASSERT_EQ(::chown(directory.path(name).c_str(), kOtherUserNumber, kOtherUserNumber), 0);
  EXPECT_TRUE(manager.contentsAtPath(directory.path("f")).status.ok());
  EXPECT_EQ(directory.read("f"), "sorted");
  EXPECT_EQ(kept(), std::vector<std::string>{directory.path(name)});
}

TEST_F(DisplacedFile, AHardLinkOfAnotherFileIsNotPutBack) {
  prepare("own", "save");
  std::filesystem::create_hard_link(directory.path(name), directory.path("victim"));
  EXPECT_TRUE(manager.contentsAtPath(directory.path("f")).status.ok());
  EXPECT_EQ(directory.read("f"), "sorted");
  EXPECT_EQ(directory.read("victim"), "a save");
}

TEST_F(DisplacedFile, ReadingFailsIfASaveCannotBePutBack) {
  prepare("own", "save");
  const CallFault fault{SYS_renameat2, EIO};
  EXPECT_EQ(inChildWithFaults({fault}, [&] { return manager.contentsAtPath(directory.path("f")).status.code; }), EIO);
  EXPECT_EQ(directory.read(name), "a save");
  EXPECT_EQ(directory.read("f"), "sorted");
}

TEST_F(DisplacedFile, OtherNamesAreNotParsed) {
  prepare("own", "save");
  EXPECT_TRUE(parseDisplacedName(name));
  EXPECT_FALSE(parseDisplacedName(name.substr(1)));
  EXPECT_FALSE(parseDisplacedName(name + "0"));
  EXPECT_FALSE(parseDisplacedName(name.substr(0, name.size() - 1) + "g"));
  EXPECT_FALSE(parseDisplacedName(".tarvel-displaced-"));
  EXPECT_TRUE(comesFrom(*parseDisplacedName(name), "f"));
  EXPECT_FALSE(comesFrom(*parseDisplacedName(name), "g"));
}

}  // namespace
}  // namespace tarvel
