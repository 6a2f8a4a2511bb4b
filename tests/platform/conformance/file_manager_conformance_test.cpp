// What FileManager promises, asked of every implementation.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "platform/linux/linux_file_manager.h"
#include "platform/memory/memory_file_manager.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

/// The real thing, in a folder of its own.
struct LinuxSetting {
  TemporaryDirectory directory;
  LinuxFileManager manager;

  [[nodiscard]] std::string path(const std::string& name) const { return directory.path(name); }
};

struct MemorySetting {
  MemoryFileManager manager;

  MemorySetting() { manager.putFolder("/folder"); }
  [[nodiscard]] std::string path(const std::string& name) const { return "/folder/" + name; }
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

}  // namespace
}  // namespace tarvel
