#include "tools/backups/initial_backup.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/memory/memory_file_manager.h"

namespace tarvel {
namespace {

constexpr const char* kFolder = "/data/Tarvel";
constexpr const char* kAgents = "/data/Tarvel/Bookmarks (Initial Copy).plist";
constexpr const char* kSettingsFile = "/safari/Bookmarks.plist";
constexpr const char* kOther = "/other/Bookmarks.plist";

struct InitialBackupTest : testing::Test {
  MemoryFileManager files;

  InitialBackupTest() {
    ::setenv("XDG_DATA_HOME", "/data", 1);
    files.putFolder(kFolder);
    files.putFile(kSettingsFile, "settings file");
    files.putFile(kOther, "other file");
  }
  ~InitialBackupTest() override { ::unsetenv("XDG_DATA_HOME"); }

  [[nodiscard]] InitialBackup of(const std::string& file) { return initialBackupOf(files, file, kSettingsFile); }
  /// As a sort does it.
  std::string backUp(const std::string& file) {
    const std::string path = of(file).path;
    EXPECT_TRUE(files.copyItemAtPathToPath(file, path).ok());
    return path;
  }
  [[nodiscard]] std::string bytes(const std::string& path) { return files.bytesAt(path).value_or("(nothing)"); }
};

TEST_F(InitialBackupTest, TheFileOfTheSettingsUsesTheAgentsName) {
  EXPECT_EQ(of(kSettingsFile).path, kAgents);
  EXPECT_EQ(of(kSettingsFile).origin, BackupOrigin::kMissing);
  EXPECT_EQ(backUp(kSettingsFile), kAgents);
  EXPECT_EQ(of(kSettingsFile).origin, BackupOrigin::kThisFile);
}

TEST_F(InitialBackupTest, AnyOtherFileHasOneOfItsOwn) {
  const std::string path = of(kOther).path;
  EXPECT_NE(path, kAgents);
  EXPECT_EQ(path.rfind(std::string(kFolder) + "/Bookmarks (Initial Copy) ", 0), 0U) << path;
  EXPECT_NE(path, of("/third/Bookmarks.plist").path);
  backUp(kOther);
  EXPECT_EQ(of(kOther).origin, BackupOrigin::kThisFile);
  EXPECT_EQ(of(kSettingsFile).origin, BackupOrigin::kMissing);
}

TEST_F(InitialBackupTest, ABackupThatExistsIsRecognisedByTheFileItCameFrom) {
  // The agent sorted the other file once; another one is in the settings by now.
  ASSERT_TRUE(files.copyItemAtPathToPath(kOther, kAgents).ok());
  EXPECT_EQ(of(kOther).path, kAgents);
  EXPECT_NE(of(kSettingsFile).path, kAgents);
  EXPECT_EQ(of(kSettingsFile).origin, BackupOrigin::kMissing);
}

TEST_F(InitialBackupTest, OneWithoutARecordIsTakenForThatOfTheFileOfTheSettingsAlone) {
  files.putFile(kAgents, "unknown");
  EXPECT_EQ(of(kSettingsFile).path, kAgents);
  EXPECT_EQ(of(kSettingsFile).origin, BackupOrigin::kUnrecorded);
  EXPECT_NE(of(kOther).path, kAgents);
}

TEST_F(InitialBackupTest, ItsOwnNameTellsWhoseABackupWithoutARecordIs) {
  files.putFile(of(kOther).path, "copied from a backup of the whole folder");
  EXPECT_EQ(of(kOther).origin, BackupOrigin::kThisFile);
}

TEST_F(InitialBackupTest, ANewFileInTheSettingsGetsTheAgentsNameAndTheOldOneKeepsItsBackup) {
  backUp(kSettingsFile);
  ASSERT_TRUE(assignAgentBackup(files, kOther, kSettingsFile).ok());
  EXPECT_FALSE(files.fileExistsAtPath(kAgents));
  EXPECT_EQ(initialBackupOf(files, kOther, kOther).path, kAgents);
  const InitialBackup old = initialBackupOf(files, kSettingsFile, kOther);
  EXPECT_EQ(old.origin, BackupOrigin::kThisFile);
  EXPECT_EQ(bytes(old.path), "settings file");
}

TEST_F(InitialBackupTest, TheNewFilesOwnBackupTakesTheAgentsName) {
  backUp(kSettingsFile);
  const std::string own = backUp(kOther);
  ASSERT_TRUE(assignAgentBackup(files, kOther, kSettingsFile).ok());
  EXPECT_EQ(bytes(kAgents), "other file");
  EXPECT_FALSE(files.fileExistsAtPath(own));
  // And back.
  ASSERT_TRUE(assignAgentBackup(files, kSettingsFile, kOther).ok());
  EXPECT_EQ(bytes(kAgents), "settings file");
  EXPECT_EQ(bytes(own), "other file");
}

TEST_F(InitialBackupTest, AnUnrecordedOneIsKeptForTheFileThatWasInTheSettings) {
  files.putFile(kAgents, "unknown");
  ASSERT_TRUE(assignAgentBackup(files, kOther, kSettingsFile).ok());
  EXPECT_EQ(bytes(initialBackupOf(files, kSettingsFile, kOther).path), "unknown");
  EXPECT_FALSE(files.fileExistsAtPath(kAgents));
}

TEST_F(InitialBackupTest, WhereTheOldFileHasAnEarlierBackupBothAreKept) {
  ASSERT_TRUE(files.copyItemAtPathToPath(kOther, of(kOther).path).ok());
  files.putFile(kOther, "later");
  ASSERT_TRUE(files.copyItemAtPathToPath(kOther, kAgents).ok());
  ASSERT_TRUE(assignAgentBackup(files, kSettingsFile, kSettingsFile).ok());
  EXPECT_FALSE(files.fileExistsAtPath(kAgents));
  EXPECT_EQ(bytes(of(kOther).path), "other file");
  std::size_t found = 0;
  for (const std::string& path : files.filePaths()) {
    if (path != kOther && bytes(path) == "later") ++found;
  }
  EXPECT_EQ(found, 1U);
}

TEST_F(InitialBackupTest, DoingItTwiceChangesNothing) {
  backUp(kSettingsFile);
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(assignAgentBackup(files, kSettingsFile, kSettingsFile).ok());
    EXPECT_EQ(bytes(kAgents), "settings file");
  }
}

TEST_F(InitialBackupTest, WhatCannotBeMovedAsideStaysAndIsAFailure) {
  backUp(kSettingsFile);
  files.setMode(kFolder, 0500);
  EXPECT_FALSE(assignAgentBackup(files, kOther, kSettingsFile).ok());
  EXPECT_EQ(bytes(kAgents), "settings file");
}

TEST_F(InitialBackupTest, KeptBackupsAreKnownByNameAndFolder) {
  const std::string backup = kAgents;
  EXPECT_TRUE(isKeptBackup(files, kAgents, backup));
  EXPECT_TRUE(isKeptBackup(files, of(kOther).path, backup));
  EXPECT_TRUE(isKeptBackup(files, std::string(kFolder) + "/Bookmarks 2026-11-21 110203.417Z 5c0d1e2f.plist", backup));
  EXPECT_TRUE(isKeptBackup(files, "/mine/Bookmarks 2026-11-21 110203.417Z 5c0d1e2f.plist", "/mine/first.plist"));
  EXPECT_FALSE(isKeptBackup(files, std::string(kFolder) + "/Bookmarks.plist", backup));
  EXPECT_FALSE(isKeptBackup(files, std::string(kFolder) + "/Bookmarks (Initial Copy) 123.plist", backup));
  EXPECT_FALSE(isKeptBackup(files, "/elsewhere/Bookmarks (Initial Copy).plist", backup));
}

}  // namespace
}  // namespace tarvel
