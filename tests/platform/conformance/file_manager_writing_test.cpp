// Writing files: contents, versions, permissions, for every implementation of FileManager.

#include "tests/platform/conformance/file_manager_conformance.h"

namespace tarvel {
namespace {

template <typename Files>
struct FileManagerWriting : FileManagerConformance<Files> {};
TYPED_TEST_SUITE(FileManagerWriting, FileManagerSettings);

TYPED_TEST(FileManagerWriting, AFileThatChangedSinceItWasReadIsNotWritten) {
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

TYPED_TEST(FileManagerWriting, AFileDeletedSinceItWasReadIsNotRecreated) {
  const Data data = Data::copyOf("mine");
  this->put("a", "first");
  const FileVersion version = this->manager.contentsAtPath(this->path("a")).version;
  ASSERT_TRUE(this->manager.removeItemAtPath(this->path("a")).ok());
  EXPECT_EQ(this->manager.writeDataToPath({{data.bytes()}, {}}, this->path("a"), version).code, kFileHasChanged);
  EXPECT_FALSE(this->exists("a"));
}

TYPED_TEST(FileManagerWriting, AnOwnFileIsReplacedOnlyInTheVersionThatWasRead) {
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

TYPED_TEST(FileManagerWriting, AFileIsOpenForWritingOnlyWhenAProgramHasItOpen) {
  this->put("a", "x");
  EXPECT_FALSE(this->manager.isOpenForWritingAtPath(this->path("a")));
  EXPECT_FALSE(this->manager.isOpenForWritingAtPath(this->path("missing")));
  EXPECT_FALSE(this->manager.isOpenForWritingAtPath(this->path("")));
}

TYPED_TEST(FileManagerWriting, AWriteThatDisplacesNothingKeepsNoSave) {
  this->put("a", "x");
  this->put("a", "y");
  EXPECT_THAT(this->manager.keptSavesAtPath(this->path("a")), testing::IsEmpty());
  EXPECT_THAT(this->manager.keptSavesAtPath(this->path("missing")), testing::IsEmpty());
}

TYPED_TEST(FileManagerWriting, PiecesAreWrittenInOrder) {
  const Data data = Data::copyOf("onetwothree");
  const auto bytes = data.bytes();
  const DataPieces pieces{{bytes.subspan(3, 3), bytes.subspan(0, 3), {}, bytes.subspan(6)}, {}};
  ASSERT_TRUE(this->manager.writeDataToPath(pieces, this->path("a")).ok());
  EXPECT_EQ(this->read("a"), "twoonethree");
}

TYPED_TEST(FileManagerWriting, ThousandsOfPiecesSmallAndLargeAreWrittenWhole) {
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

TYPED_TEST(FileManagerWriting, FoldersExistTooAndCannotBeReadOrWrittenAsFiles) {
  ASSERT_TRUE(this->manager.createDirectoryAtPath(this->path("d")).ok());
  EXPECT_TRUE(this->exists("d"));
  EXPECT_EQ(this->manager.contentsAtPath(this->path("d")).status.code, EISDIR);
  EXPECT_EQ(this->write("d", "x").code, EISDIR);
}

TYPED_TEST(FileManagerWriting, WritingBelowNothingOrBelowAFileFails) {
  EXPECT_EQ(this->write("none/a", "x").code, ENOENT);
  this->put("file", "x");
  EXPECT_EQ(this->write("file/a", "x").code, ENOTDIR);
}

TYPED_TEST(FileManagerWriting, EveryWriteGivesAnotherDate) {
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

TYPED_TEST(FileManagerWriting, WritingAndCopyingKeepTheMode) {
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

TYPED_TEST(FileManagerWriting, AReadOnlyFileIsNotWritten) {
  this->put("a", "old");
  this->setting.setMode("a", 0444);
  const auto date = this->manager.modificationDateAtPath(this->path("a"));
  EXPECT_EQ(this->write("a", "new").code, EACCES);
  EXPECT_EQ(this->read("a"), "old");
  EXPECT_EQ(this->manager.modificationDateAtPath(this->path("a")), date);
}

TYPED_TEST(FileManagerWriting, InAReadOnlyFolderOnlyBytesChange) {
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

}  // namespace
}  // namespace tarvel
