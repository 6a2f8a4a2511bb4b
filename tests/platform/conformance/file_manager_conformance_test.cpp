// What FileManager promises, asked of every implementation.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "platform/linux/files/linux_file_manager.h"
#include "platform/memory/memory_file_manager.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

/// The real thing, in a folder of its own, as a user whom permissions mean something to.
struct LinuxSetting {
  TemporaryDirectory directory;
  LinuxFileManager manager;

  LinuxSetting() {
    constexpr uid_t kNobody = 65534;
    wasRoot_ = ::geteuid() == 0;
    if (wasRoot_ && (::chown(directory.path().c_str(), kNobody, kNobody) != 0 || ::seteuid(kNobody) != 0)) {
      throw std::runtime_error("no other user to be");
    }
  }
  ~LinuxSetting() {
    if (wasRoot_ && ::seteuid(0) != 0) std::abort();
  }
  LinuxSetting(const LinuxSetting&) = delete;
  LinuxSetting& operator=(const LinuxSetting&) = delete;

  [[nodiscard]] std::string path(const std::string& name) const { return directory.path(name); }
  void makeLink(const std::string& name, const std::string& target) const {
    ASSERT_EQ(::symlink(target.c_str(), path(name).c_str()), 0);
  }
  void setMode(const std::string& name, unsigned mode) const { ASSERT_EQ(::chmod(path(name).c_str(), mode), 0); }
  [[nodiscard]] unsigned mode(const std::string& name) const {
    struct stat status {};
    return ::stat(path(name).c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
  }
  [[nodiscard]] bool isLink(const std::string& name) const {
    struct stat status {};
    return ::lstat(path(name).c_str(), &status) == 0 && S_ISLNK(status.st_mode);
  }

 private:
  bool wasRoot_ = false;
};

struct MemorySetting {
  MemoryFileManager manager;

  MemorySetting() { manager.putFolder("/folder"); }
  [[nodiscard]] std::string path(const std::string& name) const { return "/folder/" + name; }
  void makeLink(const std::string& name, const std::string& target) { manager.putLink(path(name), target); }
  void setMode(const std::string& name, unsigned mode) { manager.setMode(path(name), mode); }
  [[nodiscard]] unsigned mode(const std::string& name) const { return manager.modeAt(path(name)).value_or(0); }
  [[nodiscard]] bool isLink(const std::string& name) const { return manager.isLink(path(name)); }
};

template <typename Setting>
struct FileManagerConformance : testing::Test {
  Setting setting;
  FileManager& manager = setting.manager;

  std::string path(const std::string& name) { return setting.path(name); }

  FileStatus write(const std::string& name, const std::string& bytes) {
    const Data data = Data::copyOf(bytes);
    return manager.writeDataToPath({{data.bytes()}, {}}, path(name));
  }
  void put(const std::string& name, const std::string& bytes) { ASSERT_TRUE(write(name, bytes).ok()); }

  std::string read(const std::string& name) {
    const FileReading reading = manager.contentsAtPath(path(name));
    EXPECT_TRUE(reading.status.ok()) << reading.status.reason;
    const auto bytes = reading.data.bytes();
    return {bytes.begin(), bytes.end()};
  }
  bool exists(const std::string& name) { return manager.fileExistsAtPath(path(name)); }
};

using Settings = testing::Types<LinuxSetting, MemorySetting>;
TYPED_TEST_SUITE(FileManagerConformance, Settings);

TYPED_TEST(FileManagerConformance, ACopyRecordsWhereItCameFromAndKeepsThatWhenItIsRenamed) {
  this->put("a", "1");
  ASSERT_TRUE(this->manager.copyItemAtPathToPath(this->path("a"), this->path("b")).ok());
  ASSERT_TRUE(this->manager.moveItem(this->path("b"), this->path("c")).ok());
  EXPECT_EQ(this->manager.sourceOfCopyAtPath(this->path("c")), this->path("a"));
  EXPECT_EQ(this->manager.sourceOfCopyAtPath(this->path("a")), std::nullopt);
  EXPECT_EQ(this->manager.sourceOfCopyAtPath(this->path("none")), std::nullopt);
  // A copy of the copy is one of the copy.
  ASSERT_TRUE(this->manager.copyItemAtPathToPath(this->path("c"), this->path("d")).ok());
  EXPECT_EQ(this->manager.sourceOfCopyAtPath(this->path("d")), this->path("c"));
}

TYPED_TEST(FileManagerConformance, WhatIsWrittenIsThere) {
  EXPECT_FALSE(this->exists("a"));
  this->put("a", "one");
  EXPECT_TRUE(this->exists("a"));
  EXPECT_EQ(this->read("a"), "one");
  this->put("a", "");
  EXPECT_EQ(this->read("a"), "");
  this->put("a", "a longer text than before");
  EXPECT_EQ(this->read("a"), "a longer text than before");
}

TYPED_TEST(FileManagerConformance, AFileThatChangedSinceItWasReadIsNotWritten) {
  const Data data = Data::copyOf("mine");
  const DataPieces pieces{{data.bytes()}, {}};
  this->put("a", "first");
  const FileVersion version = this->manager.contentsAtPath(this->path("a")).version;
  this->put("a", "other");
  EXPECT_EQ(this->manager.writeDataToPath(pieces, this->path("a"), version).code, kFileHasChanged);
  EXPECT_EQ(this->read("a"), "other");
  const FileVersion now = this->manager.contentsAtPath(this->path("a")).version;
  EXPECT_NE(version, now);
  EXPECT_TRUE(this->manager.writeDataToPath(pieces, this->path("a"), now).ok());
  EXPECT_EQ(this->read("a"), "mine");
}

TYPED_TEST(FileManagerConformance, AFileThatIsGoneSinceItWasReadIsNotMadeAnew) {
  const Data data = Data::copyOf("mine");
  this->put("a", "first");
  const FileVersion version = this->manager.contentsAtPath(this->path("a")).version;
  ASSERT_TRUE(this->manager.removeItemAtPath(this->path("a")).ok());
  EXPECT_EQ(this->manager.writeDataToPath({{data.bytes()}, {}}, this->path("a"), version).code, kFileHasChanged);
  EXPECT_FALSE(this->exists("a"));
}

TYPED_TEST(FileManagerConformance, AnOwnFileIsReplacedByTheVersionThatWasRead) {
  const Data data = Data::copyOf("mine");
  const DataPieces pieces{{data.bytes()}, {}};
  this->put("a", "first");
  const FileReading reading = this->manager.contentsOfOwnFileAtPath(this->path("a"));
  ASSERT_TRUE(reading.status.ok());
  EXPECT_EQ(reading.data.size(), 5U);
  EXPECT_EQ(reading.version, this->manager.contentsAtPath(this->path("a")).version);
  ASSERT_TRUE(this->manager.replaceOwnFileAtPath(pieces, this->path("a"), reading.version).ok());
  EXPECT_EQ(this->read("a"), "mine");
  this->put("a", "other");
  EXPECT_EQ(this->manager.replaceOwnFileAtPath(pieces, this->path("a"), reading.version).code, kFileHasChanged);
  ASSERT_TRUE(this->manager.removeItemAtPath(this->path("a")).ok());
  EXPECT_EQ(this->manager.replaceOwnFileAtPath(pieces, this->path("a"), reading.version).code, kFileHasChanged);
  EXPECT_FALSE(this->exists("a"));
}

TYPED_TEST(FileManagerConformance, AnOwnFileIsNeitherReadNorReplacedThroughALink) {
  const Data data = Data::copyOf("mine");
  this->put("a", "first");
  this->setting.makeLink("link", "a");
  this->setting.makeLink("dangling", "nothing");
  const FileVersion version = this->manager.contentsAtPath(this->path("a")).version;
  for (const char* name : {"link", "dangling"}) {
    EXPECT_EQ(this->manager.contentsOfOwnFileAtPath(this->path(name)).status.code, ELOOP) << name;
    EXPECT_EQ(this->manager.replaceOwnFileAtPath({{data.bytes()}, {}}, this->path(name), version).code,
              kFileHasChanged);
  }
  EXPECT_EQ(this->read("a"), "first");
  EXPECT_FALSE(this->exists("nothing"));
  EXPECT_TRUE(this->setting.isLink("link"));
}

TYPED_TEST(FileManagerConformance, OnlyAMissingOwnFileIsSaidToBeMissing) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  this->put("f", "x");
  EXPECT_EQ(this->manager.contentsOfOwnFileAtPath(this->path("a")).status.code, ENOENT);
  EXPECT_EQ(this->manager.contentsOfOwnFileAtPath(this->path("d")).status.code, EISDIR);
  EXPECT_EQ(this->manager.contentsOfOwnFileAtPath(this->path("f/a")).status.code, ENOTDIR);
  this->setting.setMode("f", 0);
  EXPECT_EQ(this->manager.contentsOfOwnFileAtPath(this->path("f")).status.code, EACCES);
  EXPECT_EQ(this->manager.contentsOfOwnFileAtPath(this->path(std::string("a\0b", 3))).status.code, EINVAL);
}

TYPED_TEST(FileManagerConformance, AFileIsOpenForWritingOnlyWhenAProgramHasItOpen) {
  this->put("a", "x");
  EXPECT_FALSE(this->manager.isOpenForWritingAtPath(this->path("a")));
  EXPECT_FALSE(this->manager.isOpenForWritingAtPath(this->path("missing")));
  EXPECT_FALSE(this->manager.isOpenForWritingAtPath(this->path("")));
}

TYPED_TEST(FileManagerConformance, AWriteThatDisplacesNothingKeepsNoSave) {
  this->put("a", "x");
  this->put("a", "y");
  EXPECT_THAT(this->manager.keptSavesAtPath(this->path("a")), testing::IsEmpty());
  EXPECT_THAT(this->manager.keptSavesAtPath(this->path("missing")), testing::IsEmpty());
}

TYPED_TEST(FileManagerConformance, PiecesAreWrittenInOrder) {
  const Data data = Data::copyOf("onetwothree");
  const auto bytes = data.bytes();
  const DataPieces pieces{{bytes.subspan(3, 3), bytes.subspan(0, 3), {}, bytes.subspan(6)}, {}};
  ASSERT_TRUE(this->manager.writeDataToPath(pieces, this->path("a")).ok());
  EXPECT_EQ(this->read("a"), "twoonethree");
}

TYPED_TEST(FileManagerConformance, ThousandsOfPiecesSmallAndLargeAreWrittenWhole) {
  std::string all;
  for (int i = 0; i < 200'000; ++i) all += std::to_string(i);
  const Data data = Data::copyOf(all);
  DataPieces pieces;
  for (std::size_t at = 0, size = 1; at < all.size(); at += size, size = size % 1000 == 0 ? 400'000 : size % 997 + 1) {
    pieces.pieces.push_back(data.bytes().subspan(at, std::min(size, all.size() - at)));
  }
  ASSERT_GT(pieces.pieces.size(), 1000U);
  ASSERT_TRUE(this->manager.writeDataToPath(pieces, this->path("a")).ok());
  EXPECT_EQ(this->read("a"), all);
}

TYPED_TEST(FileManagerConformance, FoldersExistTooAndCannotBeReadOrWrittenAsFiles) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  EXPECT_TRUE(this->exists("d"));
  EXPECT_EQ(this->manager.contentsAtPath(this->path("d")).status.code, EISDIR);
  EXPECT_EQ(this->write("d", "x").code, EISDIR);
}

TYPED_TEST(FileManagerConformance, ReadingNothingSaysSo) {
  const FileReading reading = this->manager.contentsAtPath(this->path("none"));
  EXPECT_EQ(reading.status.code, ENOENT);
  EXPECT_FALSE(reading.status.reason.empty());
  EXPECT_EQ(reading.data.size(), 0U);
}

TYPED_TEST(FileManagerConformance, WritingBelowNothingOrBelowAFileFails) {
  EXPECT_EQ(this->write("none/a", "x").code, ENOENT);
  this->put("file", "x");
  EXPECT_EQ(this->write("file/a", "x").code, ENOTDIR);
}

TYPED_TEST(FileManagerConformance, EveryWriteGivesAnotherDate) {
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("a")), std::nullopt);
  std::optional<FileDate> last;
  for (int i = 0; i < 5; ++i) {
    this->put("a", "x");
    const auto date = this->manager.modificationDateAtPath(this->path("a"));
    ASSERT_TRUE(date.has_value());
    EXPECT_NE(date, last);
    EXPECT_EQ(date, this->manager.modificationDateAtPath(this->path("a")));
    last = date;
  }
}

TYPED_TEST(FileManagerConformance, FolderChainsAreMadeAndExistingFoldersAreFine) {
  EXPECT_TRUE(this->manager.createDirectoryAtPath(this->path("a/b/c")).ok());
  EXPECT_TRUE(this->exists("a/b/c"));
  EXPECT_TRUE(this->manager.createDirectoryAtPath(this->path("a/b/c")).ok());
  EXPECT_TRUE(this->manager.createDirectoryAtPath(this->path("a/b/c/")).ok());
  this->put("file", "x");
  EXPECT_FALSE(this->manager.createDirectoryAtPath(this->path("file")).ok());
  EXPECT_FALSE(this->manager.createDirectoryAtPath(this->path("file/below")).ok());
  EXPECT_FALSE(this->manager.createDirectoryAtPath("").ok());
}

TYPED_TEST(FileManagerConformance, AFileIsMadeOnlyWhereNothingIs) {
  const Data data = Data::copyOf("new");
  const DataPieces pieces{{data.bytes()}, {}};
  ASSERT_TRUE(this->manager.createFileAtPath(pieces, this->path("a")).ok());
  EXPECT_EQ(this->read("a"), "new");
  EXPECT_EQ(this->setting.mode("a"), 0600U);
  this->put("b", "old");
  this->setting.makeLink("link", "none");
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  for (const char* taken : {"a", "b", "link", "d"}) {
    EXPECT_EQ(this->manager.createFileAtPath(pieces, this->path(taken)).code, EEXIST);
  }
  EXPECT_EQ(this->read("b"), "old");
  EXPECT_FALSE(this->exists("none"));
  EXPECT_EQ(this->manager.createFileAtPath(pieces, this->path("none/a")).code, ENOENT);
  EXPECT_EQ(this->manager.createFileAtPath(pieces, this->path("b/a")).code, ENOTDIR);
  EXPECT_EQ(this->manager.createFileAtPath(pieces, this->path(std::string("n\0l", 3))).code, EINVAL);
  EXPECT_FALSE(this->manager.createFileAtPath(pieces, this->path("new/")).ok());
  this->setting.setMode("d", 0555);
  EXPECT_EQ(this->manager.createFileAtPath(pieces, this->path("d/a")).code, EACCES);
  this->setting.setMode("d", 0755);
  EXPECT_FALSE(this->exists("d/a"));
}

TYPED_TEST(FileManagerConformance, AFolderTellsItsRegularFilesByName) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d/sub")).ok());
  EXPECT_TRUE(this->manager.filesInDirectoryAtPath(this->path("d")).fileNames.empty());
  EXPECT_TRUE(this->manager.filesInDirectoryAtPath(this->path("d")).status.ok());
  for (const char* name : {"d/b", "d/a", "d/.hidden", "d/a b", "d/sub/deep", "beside"}) this->put(name, "x");
  this->setting.makeLink("d/link", "a");
  const std::vector<std::string> expected = {".hidden", "a", "a b", "b"};
  EXPECT_EQ(this->manager.filesInDirectoryAtPath(this->path("d")).fileNames, expected);
  this->setting.makeLink("folder", "d");
  EXPECT_EQ(this->manager.filesInDirectoryAtPath(this->path("folder/")).fileNames, expected);
  EXPECT_EQ(this->manager.filesInDirectoryAtPath(this->path("none")).status.code, ENOENT);
  EXPECT_EQ(this->manager.filesInDirectoryAtPath(this->path("beside")).status.code, ENOTDIR);
  EXPECT_EQ(this->manager.filesInDirectoryAtPath(this->path(std::string("d\0l", 3))).status.code, EINVAL);
  this->setting.setMode("d", 0333);
  EXPECT_EQ(this->manager.filesInDirectoryAtPath(this->path("d")).status.code, EACCES);
  this->setting.setMode("d", 0755);
}

TYPED_TEST(FileManagerConformance, CopyKeepsBytesAndDateAndNeverReplaces) {
  this->put("a", "one");
  ASSERT_TRUE(this->manager.copyItemAtPathToPath(this->path("a"), this->path("b")).ok());
  EXPECT_EQ(this->read("b"), "one");
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("a")),
            this->manager.modificationDateAtPath(this->path("b")));
  this->put("c", "other");
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("a"), this->path("c")).code, EEXIST);
  EXPECT_EQ(this->read("c"), "other");
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("none"), this->path("d")).code, ENOENT);
  EXPECT_FALSE(this->exists("d"));
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("a"), this->path("none/d")).code, ENOENT);
}

TYPED_TEST(FileManagerConformance, RemovesFilesAndEmptyFolders) {
  this->put("a", "x");
  EXPECT_TRUE(this->manager.removeItemAtPath(this->path("a")).ok());
  EXPECT_FALSE(this->exists("a"));
  EXPECT_EQ(this->manager.removeItemAtPath(this->path("a")).code, ENOENT);
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d/e")).ok());
  EXPECT_EQ(this->manager.removeItemAtPath(this->path("d")).code, ENOTEMPTY);
  EXPECT_TRUE(this->manager.removeItemAtPath(this->path("d/e")).ok());
  EXPECT_TRUE(this->manager.removeItemAtPath(this->path("d")).ok());
}

TYPED_TEST(FileManagerConformance, AfterAReplacementTheTargetHoldsItAndItsPathIsGone) {
  ASSERT_TRUE(this->manager.offersReplaceItem());
  this->put("target", "old");
  this->put("replacement", "new");
  const FileReplacement replaced = this->manager.replaceItem(this->path("target"), this->path("replacement"));
  EXPECT_TRUE(replaced.status.ok()) << replaced.status.reason;
  EXPECT_EQ(this->read("target"), "new");
  EXPECT_FALSE(this->exists("replacement"));
}

TYPED_TEST(FileManagerConformance, ReplacementThatLacksAnItemChangesNothing) {
  this->put("target", "old");
  EXPECT_EQ(this->manager.replaceItem(this->path("target"), this->path("none")).status.code, ENOENT);
  EXPECT_EQ(this->manager.replaceItem(this->path("none"), this->path("target")).status.code, ENOENT);
  EXPECT_EQ(this->read("target"), "old");
  EXPECT_FALSE(this->exists("none"));
}

TYPED_TEST(FileManagerConformance, AnItemCannotReplaceItself) {
  this->put("a", "x");
  EXPECT_FALSE(this->manager.replaceItem(this->path("a"), this->path("a")).status.ok());
  EXPECT_EQ(this->read("a"), "x");
}

TYPED_TEST(FileManagerConformance, ItemsOfDifferentKindsReplaceEachOther) {
  this->put("target", "old");
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("folder")).ok());
  EXPECT_TRUE(this->manager.replaceItem(this->path("target"), this->path("folder")).status.ok());
  EXPECT_EQ(this->manager.contentsAtPath(this->path("target")).status.code, EISDIR);
  EXPECT_FALSE(this->exists("folder"));
}

TYPED_TEST(FileManagerConformance, PathsThatMakeNoAddressThrow) {
  this->put("a", "x");
  EXPECT_THROW((void)this->manager.replaceItem("", this->path("a")), PlatformException);
  EXPECT_THROW((void)this->manager.replaceItem(this->path("a"), std::string("b\0c", 3)), PlatformException);
  EXPECT_THROW((void)this->manager.moveItem(this->path("a"), ""), PlatformException);
  EXPECT_EQ(this->read("a"), "x");
}

TYPED_TEST(FileManagerConformance, MoveNeverReplaces) {
  this->put("a", "one");
  EXPECT_TRUE(this->manager.moveItem(this->path("a"), this->path("b")).ok());
  EXPECT_FALSE(this->exists("a"));
  EXPECT_EQ(this->read("b"), "one");
  this->put("c", "two");
  EXPECT_EQ(this->manager.moveItem(this->path("b"), this->path("c")).code, EEXIST);
  EXPECT_EQ(this->read("b"), "one");
  EXPECT_EQ(this->read("c"), "two");
  EXPECT_EQ(this->manager.moveItem(this->path("none"), this->path("d")).code, ENOENT);
}

TYPED_TEST(FileManagerConformance, ExchangeSwapsTwoItems) {
  this->put("a", "one");
  this->put("b", "two");
  EXPECT_TRUE(this->manager.exchangeItems(this->path("a"), this->path("b")).ok());
  EXPECT_EQ(this->read("a"), "two");
  EXPECT_EQ(this->read("b"), "one");
  EXPECT_EQ(this->manager.exchangeItems(this->path("a"), this->path("none")).code, ENOENT);
  EXPECT_EQ(this->read("a"), "two");
}

TYPED_TEST(FileManagerConformance, OnlyALeadingTildeIsExpanded) {
  EXPECT_EQ(this->manager.stringByExpandingTildeInPath("/~/x/"), "/~/x/");
  EXPECT_EQ(this->manager.stringByExpandingTildeInPath(" ~"), " ~");
  EXPECT_EQ(this->manager.stringByExpandingTildeInPath(""), "");
  EXPECT_NE(this->manager.stringByExpandingTildeInPath("~/x").find("/x"), std::string::npos);
  EXPECT_NE(this->manager.stringByExpandingTildeInPath("~/x").front(), '~');
  EXPECT_EQ(this->manager.stringByExpandingTildeInPath("~no-such-user/x/"), "~no-such-user/x");
}

TYPED_TEST(FileManagerConformance, APathOfNothingOrWithANulByteLeadsNowhere) {
  this->put("a", "x");
  for (const std::string& path : {std::string(), this->path(std::string("a\0b", 3))}) {
    EXPECT_FALSE(this->manager.fileExistsAtPath(path));
    EXPECT_EQ(this->manager.modificationDateAtPath(path), std::nullopt);
    const int code = path.empty() ? ENOENT : EINVAL;
    EXPECT_EQ(this->manager.contentsAtPath(path).status.code, code);
    EXPECT_EQ(this->manager.createDirectoryAtPath(path).code, code);
    EXPECT_EQ(this->manager.removeItemAtPath(path).code, code);
    EXPECT_EQ(this->manager.writeDataToPath({}, path).code, code);
    EXPECT_EQ(this->manager.copyItemAtPathToPath(path, this->path("b")).code, code);
    EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("a"), path).code, code);
    EXPECT_EQ(this->manager.exchangeItems(this->path("a"), path).code, code);
    EXPECT_THROW((void)this->manager.replaceItem(this->path("a"), path), PlatformException);
    EXPECT_THROW((void)this->manager.replaceItem(path, this->path("a")), PlatformException);
    EXPECT_THROW((void)this->manager.moveItem(this->path("a"), path), PlatformException);
    EXPECT_THROW((void)this->manager.moveItem(path, this->path("b")), PlatformException);
  }
  EXPECT_EQ(this->read("a"), "x");
  EXPECT_FALSE(this->exists("b"));
}

TYPED_TEST(FileManagerConformance, FailuresAreExplainedAndSuccessIsSilent) {
  this->put("a", "x");
  const FileStatus missing = this->manager.removeItemAtPath(this->path("none"));
  EXPECT_EQ(missing.code, ENOENT);
  EXPECT_FALSE(missing.reason.empty());
  const FileStatus removed = this->manager.removeItemAtPath(this->path("a"));
  EXPECT_EQ(removed.code, 0);
  EXPECT_TRUE(removed.reason.empty());
}

TYPED_TEST(FileManagerConformance, ATrailingSlashAsksForAFolder) {
  this->put("a", "x");
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  EXPECT_TRUE(this->exists("d/"));
  EXPECT_FALSE(this->exists("a/"));
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("a/")), std::nullopt);
  EXPECT_EQ(this->manager.contentsAtPath(this->path("a/")).status.code, ENOTDIR);
  EXPECT_FALSE(this->write("a/", "y").ok());
  EXPECT_FALSE(this->write("new/", "y").ok());
  EXPECT_FALSE(this->manager.copyItemAtPathToPath(this->path("a"), this->path("new/")).ok());
  EXPECT_FALSE(this->exists("new"));
  EXPECT_EQ(this->read("a"), "x");
}

TYPED_TEST(FileManagerConformance, ABlankPathComponentAndDotsChangeNothing) {
  this->put("a", "x");
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  EXPECT_EQ(this->read(".//d/..///./a"), "x");
  EXPECT_FALSE(this->exists("none/../a"));
  EXPECT_FALSE(this->exists("a/../a"));
}

TYPED_TEST(FileManagerConformance, ALinkThatLeadsNowhereDoesNotExist) {
  this->setting.makeLink("link", "none");
  EXPECT_FALSE(this->exists("link"));
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("link")), std::nullopt);
  EXPECT_EQ(this->manager.contentsAtPath(this->path("link")).status.code, ENOENT);
  EXPECT_FALSE(this->manager.createDirectoryAtPath(this->path("link")).ok());
  EXPECT_FALSE(this->manager.createDirectoryAtPath(this->path("link/below")).ok());
  EXPECT_FALSE(this->exists("none"));
}

TYPED_TEST(FileManagerConformance, LinksAreReadAndWrittenThrough) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("deep")).ok());
  this->put("deep/real", "old");
  this->setting.makeLink("first", "deep/real");
  this->setting.makeLink("second", this->path("first"));
  this->setting.makeLink("folder", "deep");
  EXPECT_EQ(this->read("second"), "old");
  EXPECT_EQ(this->read("folder/real"), "old");
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("second")),
            this->manager.modificationDateAtPath(this->path("deep/real")));
  this->put("second", "new");
  EXPECT_EQ(this->read("deep/real"), "new");
  this->put("folder/real", "newer");
  EXPECT_EQ(this->read("deep/real"), "newer");
  EXPECT_TRUE(this->setting.isLink("first"));
  EXPECT_TRUE(this->setting.isLink("second"));
}

TYPED_TEST(FileManagerConformance, WritingThroughALinkThatLeadsNowhereMakesItsTarget) {
  this->setting.makeLink("link", "target");
  this->put("link", "x");
  EXPECT_EQ(this->read("target"), "x");
  EXPECT_TRUE(this->setting.isLink("link"));
  this->setting.makeLink("astray", "none/target");
  EXPECT_EQ(this->write("astray", "x").code, ENOENT);
}

TYPED_TEST(FileManagerConformance, LinksInARingFail) {
  this->setting.makeLink("a", "b");
  this->setting.makeLink("b", "a");
  EXPECT_FALSE(this->exists("a"));
  EXPECT_EQ(this->manager.contentsAtPath(this->path("a")).status.code, ELOOP);
  EXPECT_EQ(this->write("a", "x").code, ELOOP);
  EXPECT_EQ(this->write("a/below", "x").code, ELOOP);
}

TYPED_TEST(FileManagerConformance, RemovingALinkLeavesWhatItLeadsTo) {
  this->put("real", "x");
  this->setting.makeLink("link", "real");
  EXPECT_TRUE(this->manager.removeItemAtPath(this->path("link")).ok());
  EXPECT_FALSE(this->setting.isLink("link"));
  EXPECT_EQ(this->read("real"), "x");
}

TYPED_TEST(FileManagerConformance, CopyTakesWhatALinkLeadsToAndNeverGoesThroughOne) {
  this->put("real", "x");
  this->setting.makeLink("link", "real");
  ASSERT_TRUE(this->manager.copyItemAtPathToPath(this->path("link"), this->path("copy")).ok());
  EXPECT_FALSE(this->setting.isLink("copy"));
  EXPECT_EQ(this->read("copy"), "x");
  this->setting.makeLink("dangling", "none");
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("real"), this->path("dangling")).code, EEXIST);
  EXPECT_FALSE(this->exists("none"));
}

TYPED_TEST(FileManagerConformance, OnlyFilesAreCopied) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("d"), this->path("e")).code, EISDIR);
  EXPECT_FALSE(this->exists("e"));
}

TYPED_TEST(FileManagerConformance, WritingAndCopyingKeepTheMode) {
  this->put("a", "x");
  this->setting.setMode("a", 0604);
  this->put("a", "y");
  EXPECT_EQ(this->setting.mode("a"), 0604U);
  ASSERT_TRUE(this->manager.copyItemAtPathToPath(this->path("a"), this->path("b")).ok());
  EXPECT_EQ(this->setting.mode("b"), 0604U);
  this->setting.setMode("a", 0400);
  ASSERT_TRUE(this->manager.copyItemAtPathToPath(this->path("a"), this->path("c")).ok());
  EXPECT_EQ(this->setting.mode("c"), 0400U);
}

TYPED_TEST(FileManagerConformance, AFileThatMayNotBeWrittenStays) {
  this->put("a", "old");
  this->setting.setMode("a", 0444);
  const auto date = this->manager.modificationDateAtPath(this->path("a"));
  EXPECT_EQ(this->write("a", "new").code, EACCES);
  EXPECT_EQ(this->read("a"), "old");
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("a")), date);
}

TYPED_TEST(FileManagerConformance, AFileThatMayNotBeReadIsNotRead) {
  this->put("a", "old");
  this->setting.setMode("a", 0200);
  EXPECT_EQ(this->manager.contentsAtPath(this->path("a")).status.code, EACCES);
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("a"), this->path("b")).code, EACCES);
  EXPECT_FALSE(this->exists("b"));
}

TYPED_TEST(FileManagerConformance, InAFolderThatMayNotBeWrittenOnlyBytesChange) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d/sub")).ok());
  this->put("d/a", "old");
  this->put("d/b", "other");
  this->put("outside", "outside");
  this->setting.setMode("d", 0555);
  EXPECT_TRUE(this->write("d/a", "new").ok());
  EXPECT_EQ(this->read("d/a"), "new");
  EXPECT_EQ(this->write("d/new", "x").code, EACCES);
  EXPECT_EQ(this->manager.createDirectoryAtPath(this->path("d/new")).code, EACCES);
  EXPECT_EQ(this->manager.copyItemAtPathToPath(this->path("outside"), this->path("d/new")).code, EACCES);
  EXPECT_EQ(this->manager.removeItemAtPath(this->path("d/b")).code, EACCES);
  EXPECT_EQ(this->manager.moveItem(this->path("d/b"), this->path("new")).code, EACCES);
  EXPECT_EQ(this->manager.exchangeItems(this->path("d/b"), this->path("outside")).code, EACCES);
  EXPECT_FALSE(this->manager.replaceItem(this->path("d/b"), this->path("outside")).status.ok());
  EXPECT_FALSE(this->manager.replaceItem(this->path("outside"), this->path("d/b")).status.ok());
  EXPECT_TRUE(this->manager.createDirectoryAtPath(this->path("d/sub")).ok());
  this->setting.setMode("d", 0755);
  EXPECT_FALSE(this->exists("d/new"));
  EXPECT_EQ(this->read("d/b"), "other");
  EXPECT_EQ(this->read("outside"), "outside");
}

TYPED_TEST(FileManagerConformance, AReplacementReachesTheTargetThroughItsLink) {
  this->put("real", "old");
  this->setting.makeLink("link", "real");
  this->put("replacement", "new");
  EXPECT_TRUE(this->manager.replaceItem(this->path("link"), this->path("replacement")).status.ok());
  EXPECT_TRUE(this->setting.isLink("link"));
  EXPECT_EQ(this->read("real"), "new");
  EXPECT_FALSE(this->exists("replacement"));
}

TYPED_TEST(FileManagerConformance, AReplacementThatIsALinkGivesTheFileItLeadsTo) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  this->put("d/real", "new");
  this->setting.makeLink("d/link", "real");
  this->put("target", "old");
  EXPECT_TRUE(this->manager.replaceItem(this->path("target"), this->path("d/link")).status.ok());
  EXPECT_FALSE(this->setting.isLink("target"));
  EXPECT_FALSE(this->setting.isLink("d/link"));
  EXPECT_EQ(this->read("target"), "new");
  EXPECT_EQ(this->read("d/real"), "new");
}

TYPED_TEST(FileManagerConformance, AReplacementKeepsItsDateAndMode) {
  this->put("target", "old");
  this->put("replacement", "new");
  this->setting.setMode("replacement", 0604);
  const auto date = this->manager.modificationDateAtPath(this->path("replacement"));
  const FileReplacement replaced = this->manager.replaceItem(this->path("target"), this->path("replacement"));
  EXPECT_TRUE(replaced.status.ok());
  EXPECT_EQ(replaced.originalItemLocation, std::nullopt);
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("target")), date);
  EXPECT_EQ(this->setting.mode("target"), 0604U);
}

TYPED_TEST(FileManagerConformance, AFailedReplacementSaysThatNothingLiesAside) {
  this->put("target", "old");
  const FileReplacement failed = this->manager.replaceItem(this->path("target"), this->path("none"));
  EXPECT_FALSE(failed.status.ok());
  EXPECT_EQ(failed.originalItemLocation, std::nullopt);
}

TYPED_TEST(FileManagerConformance, FoldersMoveReplaceAndChangePlacesWithAllThatIsInThem) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("a/b")).ok());
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("c")).ok());
  this->put("a/b/deep", "deep");
  this->put("c/flat", "flat");
  EXPECT_TRUE(this->manager.exchangeItems(this->path("a"), this->path("c")).ok());
  EXPECT_EQ(this->read("c/b/deep"), "deep");
  EXPECT_EQ(this->read("a/flat"), "flat");
  EXPECT_TRUE(this->manager.moveItem(this->path("c/b"), this->path("moved")).ok());
  EXPECT_EQ(this->read("moved/deep"), "deep");
  EXPECT_FALSE(this->exists("c/b/deep"));
  this->put("file", "old");
  EXPECT_TRUE(this->manager.replaceItem(this->path("file"), this->path("moved")).status.ok());
  EXPECT_EQ(this->read("file/deep"), "deep");
  EXPECT_FALSE(this->exists("moved"));
  this->put("plain", "plain");
  EXPECT_TRUE(this->manager.replaceItem(this->path("file"), this->path("plain")).status.ok());
  EXPECT_EQ(this->read("file"), "plain");
  EXPECT_FALSE(this->exists("plain"));
}

TYPED_TEST(FileManagerConformance, AFolderCannotGoBelowItself) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("a/b")).ok());
  EXPECT_EQ(this->manager.moveItem(this->path("a"), this->path("a/b/c")).code, EINVAL);
  EXPECT_EQ(this->manager.exchangeItems(this->path("a"), this->path("a/b")).code, EINVAL);
  EXPECT_FALSE(this->manager.replaceItem(this->path("a/b"), this->path("a")).status.ok());
  EXPECT_TRUE(this->exists("a/b"));
}

TYPED_TEST(FileManagerConformance, MovingAndExchangingTakeLinksThemselves) {
  this->put("real", "x");
  this->put("other", "y");
  this->setting.makeLink("link", "real");
  EXPECT_EQ(this->manager.moveItem(this->path("other"), this->path("link")).code, EEXIST);
  EXPECT_TRUE(this->manager.moveItem(this->path("link"), this->path("moved")).ok());
  EXPECT_TRUE(this->setting.isLink("moved"));
  EXPECT_TRUE(this->manager.exchangeItems(this->path("moved"), this->path("other")).ok());
  EXPECT_TRUE(this->setting.isLink("other"));
  EXPECT_EQ(this->read("moved"), "y");
  EXPECT_EQ(this->read("real"), "x");
}

TYPED_TEST(FileManagerConformance, AnItemMayChangePlacesWithItself) {
  this->put("a", "x");
  EXPECT_TRUE(this->manager.exchangeItems(this->path("a"), this->path("a")).ok());
  EXPECT_EQ(this->read("a"), "x");
}

}  // namespace
}  // namespace tarvel
