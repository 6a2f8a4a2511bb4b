#include "document/bookmarks_document.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/engine_fixture.h"

namespace tarvel {
namespace {

struct Document : testing::Test, EngineFixture {
  BookmarksDocument document{platform};
  DocumentError error;

  bool read(const std::string& bytes) { return document.readFromDataOfTypeError(Data::copyOf(bytes), "", &error); }
};

TEST_F(Document, ANewDocumentIsBinaryAndHasNoDictionary) {
  EXPECT_EQ(static_cast<std::uint32_t>(document.propertyListFormat()), 200U);
  EXPECT_FALSE(document.bookmarksDictionary().root);
}

TEST_F(Document, WindowNibNameIsEmptyAndAutosavingIsInPlace) {
  EXPECT_EQ(document.windowNibName(), "");
  EXPECT_TRUE(BookmarksDocument::autosavesInPlace());
  document.windowControllerDidLoadNib(nullptr);
}

TEST_F(Document, XmlIsRememberedAndWrittenAgain) {
  ASSERT_TRUE(read("<plist><dict><key>a</key><string>b</string></dict></plist>"));
  EXPECT_EQ(static_cast<std::uint32_t>(document.propertyListFormat()), 100U);
  EXPECT_EQ(document.bookmarksDictionary().root.dictionary().string("a"), "b");
  const auto data = document.dataOfTypeError("plist", &error);
  ASSERT_TRUE(data.has_value());
  EXPECT_TRUE(data->joined().starts_with("<?xml"));
}

TEST_F(Document, OpenStepIsRememberedAndCannotBeWritten) {
  ASSERT_TRUE(read("{ a = b; }"));
  EXPECT_EQ(static_cast<std::uint32_t>(document.propertyListFormat()), 1U);
  EXPECT_FALSE(document.dataOfTypeError("plist", &error).has_value());
  ASSERT_EQ(memory.systemLog.lines().size(), 1U);
  EXPECT_EQ(memory.systemLog.lines()[0], "Error writing to file: (null)");
  EXPECT_EQ(error.localizedDescription, "(null)");
  document.setPropertyListFormat(PropertyListFormat::kBinary);
  EXPECT_TRUE(document.dataOfTypeError("plist", &error).has_value());
}

TEST_F(Document, UnreadableDataGivesMinus19AndKeepsContentAndFormat) {
  ASSERT_TRUE(read("<plist><dict><key>a</key><string>b</string></dict></plist>"));
  EXPECT_FALSE(read("<plist><foo/></plist>"));
  EXPECT_EQ(error.domain, "NSOSStatusErrorDomain");
  EXPECT_EQ(error.code, -19);
  EXPECT_EQ(error.localizedDescription, "Encountered unknown tag foo on line 1");
  EXPECT_EQ(document.propertyListFormat(), PropertyListFormat::kXml);
  EXPECT_EQ(document.bookmarksDictionary().root.dictionary().string("a"), "b");
  ASSERT_EQ(memory.systemLog.lines().size(), 1U);
  EXPECT_EQ(memory.systemLog.lines()[0], "Error reading plist: Encountered unknown tag foo on line 1, format: 0");
}

TEST_F(Document, TheTypeNameIsIgnored) {
  for (const char* typeName : {"", "plist", "public.jpeg"}) {
    EXPECT_TRUE(document.readFromDataOfTypeError(Data::copyOf("<plist><dict/></plist>"), typeName, &error));
    EXPECT_EQ(document.propertyListFormat(), PropertyListFormat::kXml);
    EXPECT_TRUE(document.dataOfTypeError(typeName, &error)->joined().starts_with("<?xml"));
  }
}

TEST_F(Document, TheRootMayBeAnyValue) {
  ASSERT_TRUE(read("<plist><string>a</string></plist>"));
  EXPECT_EQ(document.bookmarksDictionary().root.string(), "a");
}

TEST_F(Document, FilesAreReadAndWrittenCompletely) {
  memory.fileManager.putFile("/f", "<plist><array><string>a</string></array></plist>");
  ASSERT_TRUE(document.readFromURLOfTypeError("/f", "", &error));
  ASSERT_TRUE(document.writeToURLOfTypeError("/g", "plist", &error));
  BookmarksDocument other(platform);
  ASSERT_TRUE(other.readFromURLOfTypeError("/g", "", &error));
  EXPECT_EQ(other.bookmarksDictionary().root.array().at(0).string(), "a");
}

TEST_F(Document, AFailedReadKeepsTheVersionOfTheLastOneThatSucceeded) {
  memory.fileManager.putFile("/broken", "<plist><foo/></plist>");
  EXPECT_FALSE(document.readFromURLOfTypeError("/broken", "", &error));
  EXPECT_EQ(document.readVersion(), std::nullopt);
  memory.fileManager.putFile("/f", "<plist><dict/></plist>");
  ASSERT_TRUE(document.readFromURLOfTypeError("/f", "", &error));
  const std::optional<FileVersion> version = document.readVersion();
  ASSERT_TRUE(version.has_value());
  EXPECT_FALSE(document.readFromURLOfTypeError("/broken", "", &error));
  EXPECT_EQ(document.readVersion(), version);
}

TEST_F(Document, FileErrorsAreReturnedWithoutALogLine) {
  EXPECT_FALSE(document.readFromURLOfTypeError("/none", "", &error));
  EXPECT_EQ(error.code, ENOENT);
  ASSERT_TRUE(read("<plist><dict/></plist>"));
  memory.fileManager.failNext(FileOperation::kWrite, ENOSPC);
  EXPECT_FALSE(document.writeToURLOfTypeError("/f", "plist", &error));
  EXPECT_EQ(error.code, ENOSPC);
  EXPECT_TRUE(memory.systemLog.lines().empty());
}

TEST_F(Document, AListThatNoReaderAcceptsIsNotWritten) {
  for (const std::size_t depth : {512U, 513U}) {
    auto tree = std::make_shared<PropertyListTree>();
    PropertyListArray inner = tree->makeArray(0);
    for (std::size_t i = 1; i < depth; ++i) {
      const PropertyListArray outer = tree->makeArray(1);
      outer.append(inner.value());
      inner = outer;
    }
    document.setBookmarksDictionary({tree, inner.value()});
    const auto data = document.dataOfTypeError("plist", &error);
    EXPECT_EQ(data.has_value(), depth == 512);
    if (data) {
      EXPECT_TRUE(read(data->joined()));
    }
  }
  EXPECT_EQ(memory.systemLog.lines().size(), 1U);
}

TEST_F(Document, WritingWithoutADictionaryFails) {
  EXPECT_FALSE(document.dataOfTypeError("plist", &error).has_value());
  EXPECT_EQ(error.localizedDescription, "There is no property list to write.");
  ASSERT_EQ(memory.systemLog.lines().size(), 1U);
  EXPECT_EQ(memory.systemLog.lines()[0], "Error writing to file: There is no property list to write.");
}

TEST_F(Document, AFileThatIsTooLargeIsLogged) {
  memory.fileManager.putFile("/f", "bytes");
  memory.fileManager.failNext(FileOperation::kRead, EFBIG);
  EXPECT_FALSE(document.readFromURLOfTypeError("/f", "", &error));
  ASSERT_EQ(memory.systemLog.lines().size(), 1U);
  EXPECT_EQ(memory.systemLog.lines()[0], "Error reading file: " + error.localizedDescription);
}

}  // namespace
}  // namespace tarvel
