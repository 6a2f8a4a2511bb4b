// Test features of the memory file manager: preparation, recording, failure injection.

#include "platform/memory/memory_file_manager.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace tarvel {
namespace {

FileStatus write(FileManager& manager, const std::string& path, const std::string& bytes) {
  const Data data = Data::copyOf(bytes);
  return manager.writeDataToPath({{data.bytes()}, {}}, path);
}

std::string read(FileManager& manager, const std::string& path) {
  const FileReading reading = manager.contentsAtPath(path);
  return {reading.data.bytes().begin(), reading.data.bytes().end()};
}

TEST(MemoryFileManager, AnInjectedFailureOccursOnceOrAlways) {
  MemoryFileManager manager;
  manager.failNext(FileOperation::kWrite, ENOSPC);
  EXPECT_EQ(write(manager, "/f", "x").code, ENOSPC);
  EXPECT_FALSE(manager.fileExistsAtPath("/f"));
  EXPECT_TRUE(write(manager, "/f", "x").ok());
  manager.failAlways(FileOperation::kDate, EIO);
  EXPECT_EQ(manager.modificationDateAtPath("/f"), std::nullopt);
  EXPECT_EQ(manager.modificationDateAtPath("/f"), std::nullopt);
  manager.failNext(FileOperation::kExists, EIO);
  EXPECT_FALSE(manager.fileExistsAtPath("/f"));
  EXPECT_TRUE(manager.fileExistsAtPath("/f"));
}

TEST(MemoryFileManager, RemovingAMissingItemChangesNothing) {
  MemoryFileManager manager;
  manager.putFile("/a", "one");
  manager.removeTree("/none/such");
  EXPECT_EQ(manager.bytesAt("/a"), "one");
}

TEST(MemoryFileManager, EveryOperationCanBeMadeToFailAndThenChangesNothing) {
  MemoryFileManager manager;
  manager.putFile("/a", "one");
  manager.putFile("/b", "two");
  for (const FileOperation operation :
       {FileOperation::kRead, FileOperation::kCreateDirectory, FileOperation::kCopy, FileOperation::kRemove,
        FileOperation::kWrite, FileOperation::kReplace, FileOperation::kMove, FileOperation::kExchange}) {
    manager.failNext(operation, EIO);
  }
  EXPECT_EQ(manager.contentsAtPath("/a").status.code, EIO);
  EXPECT_EQ(manager.createDirectoryAtPath("/d").code, EIO);
  EXPECT_EQ(manager.copyItemAtPathToPath("/a", "/c").code, EIO);
  EXPECT_EQ(manager.removeItemAtPath("/a").code, EIO);
  EXPECT_EQ(write(manager, "/a", "x").code, EIO);
  EXPECT_EQ(manager.replaceItem("/a", "/b").status.code, EIO);
  EXPECT_EQ(manager.moveItem("/a", "/c").code, EIO);
  EXPECT_EQ(manager.exchangeItems("/a", "/b").code, EIO);
  EXPECT_EQ(manager.filePaths(), (std::vector<std::string>{"/a", "/b"}));
  EXPECT_EQ(manager.bytesAt("/a"), "one");
  EXPECT_EQ(manager.bytesAt("/b"), "two");
}

TEST(MemoryFileManager, HooksMayChangeFilesAndTheirCallsAreNotReported) {
  MemoryFileManager manager;
  manager.putFile("/f", "old");
  int told = 0;
  manager.setHook([&](const FileCall& call) {
    ++told;
    if (call.operation == FileOperation::kRead) {
      EXPECT_TRUE(write(manager, call.path, "before").ok());
    }
  });
  manager.setAfterHook([&](const FileCall& call) {
    ++told;
    if (call.operation == FileOperation::kRead) {
      EXPECT_TRUE(write(manager, call.path, "after").ok());
    }
  });
  EXPECT_EQ(read(manager, "/f"), "before");
  EXPECT_EQ(manager.bytesAt("/f"), "after");
  EXPECT_EQ(told, 2);
  EXPECT_EQ(manager.callCount(FileOperation::kWrite), 0U);
}

TEST(MemoryFileManager, AHookCanActAtOneParticularCall) {
  MemoryFileManager manager;
  manager.putFile("/f", "old");
  manager.setHook([&](const FileCall&) {
    if (manager.callCount(FileOperation::kDate) == 2) manager.putFile("/f", "changed");
  });
  const auto first = manager.modificationDateAtPath("/f");
  EXPECT_EQ(manager.bytesAt("/f"), "old");
  EXPECT_NE(manager.modificationDateAtPath("/f"), first);
  EXPECT_EQ(manager.bytesAt("/f"), "changed");
}

TEST(MemoryFileManager, AHookKeepsItsStateBetweenCalls) {
  MemoryFileManager manager;
  std::size_t last = 0;
  manager.setHook([&last, count = std::size_t{0}](const FileCall&) mutable { last = ++count; });
  EXPECT_FALSE(manager.fileExistsAtPath("/f"));
  EXPECT_FALSE(manager.fileExistsAtPath("/f"));
  EXPECT_EQ(last, 2U);
}

TEST(MemoryFileManager, CallsAreCountedAndListedInOrderAlsoFailedOnes) {
  MemoryFileManager manager;
  EXPECT_FALSE(manager.fileExistsAtPath("/f"));
  EXPECT_TRUE(write(manager, "/f", "x").ok());
  EXPECT_EQ(manager.contentsAtPath("/none").status.code, ENOENT);
  ASSERT_EQ(manager.calls().size(), 3U);
  EXPECT_EQ(manager.calls()[0].operation, FileOperation::kExists);
  EXPECT_EQ(manager.calls()[1].operation, FileOperation::kWrite);
  EXPECT_EQ(manager.calls()[1].path, "/f");
  EXPECT_EQ(manager.calls()[2].operation, FileOperation::kRead);
  EXPECT_EQ(manager.callCount(FileOperation::kRead), 1U);
  EXPECT_EQ(manager.callCount(FileOperation::kRemove), 0U);
}

TEST(MemoryFileManager, DatesOfTwoChangesAreOneStepApart) {
  MemoryFileManager manager;
  manager.setDateStep(std::chrono::nanoseconds(1));
  manager.putFile("/f", "one");
  const auto first = manager.modificationDateAtPath("/f");
  ASSERT_TRUE(write(manager, "/f", "two").ok());
  const auto second = manager.modificationDateAtPath("/f");
  ASSERT_TRUE(first && second);
  EXPECT_EQ(second->seconds, first->seconds);
  EXPECT_EQ(second->nanoseconds, first->nanoseconds + 1);
  manager.setDateStep(std::chrono::milliseconds(1500));
  ASSERT_TRUE(write(manager, "/f", "three").ok());
  const auto third = manager.modificationDateAtPath("/f");
  ASSERT_TRUE(third);
  EXPECT_EQ(third->seconds, second->seconds + 1);
  EXPECT_EQ(third->nanoseconds, second->nanoseconds + 500'000'000);
}

TEST(MemoryFileManager, AReplacementThatFailsHalfWayLeavesTheOldItemAside) {
  MemoryFileManager manager;
  manager.putFile("/target", "old");
  manager.putFile("/replacement", "new");
  manager.failNextReplaceHalfWay("/aside");
  const FileReplacement replaced = manager.replaceItem("/target", "/replacement");
  EXPECT_FALSE(replaced.status.ok());
  EXPECT_EQ(replaced.originalItemLocation, "/aside");
  EXPECT_EQ(manager.bytesAt("/aside"), "old");
  EXPECT_EQ(manager.bytesAt("/target"), std::nullopt);
  EXPECT_EQ(manager.bytesAt("/replacement"), "new");
  EXPECT_TRUE(manager.moveItem("/aside", "/target").ok());
  EXPECT_TRUE(manager.replaceItem("/target", "/replacement").status.ok());
}

TEST(MemoryFileManager, AnInjectedExceptionIsThrownOnce) {
  MemoryFileManager manager;
  manager.putFile("/a", "x");
  int after = 0;
  manager.setAfterHook([&](const FileCall&) { ++after; });
  manager.throwNext();
  EXPECT_THROW((void)manager.moveItem("/a", "/b"), PlatformException);
  EXPECT_EQ(after, 0);
  EXPECT_TRUE(manager.moveItem("/a", "/b").ok());
  EXPECT_EQ(after, 1);
}

TEST(MemoryFileManager, HomeFoldersAreThoseThatWereSet) {
  MemoryFileManager manager;
  manager.setHome("/home/somebody");
  EXPECT_EQ(manager.stringByExpandingTildeInPath("~"), "/home/somebody");
  EXPECT_EQ(manager.stringByExpandingTildeInPath("~/x/"), "/home/somebody/x");
}

TEST(MemoryFileManager, RemovingATreeRemovesOnlyWhatIsInIt) {
  MemoryFileManager manager;
  manager.putFile("/a/b/c", "x");
  manager.putFile("/a-b", "beside");
  manager.putFile("/a.b", "beside");
  manager.putFile("/a0", "beside");
  manager.removeTree("/a");
  EXPECT_EQ(manager.filePaths(), (std::vector<std::string>{"/a-b", "/a.b", "/a0"}));
}

}  // namespace
}  // namespace tarvel
