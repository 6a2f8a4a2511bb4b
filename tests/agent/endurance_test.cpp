#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/collation/icu_collator.h"
#include "platform/linux/files/linux_file_manager.h"
#include "settings/preference_keys.h"
#include "tests/agent/agent_world.h"
#include "tests/support/agent_fixture.h"
#include "tests/support/sanitized.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

using namespace std::chrono_literals;

/// Resident memory of this process in kilobytes.
std::size_t residentKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::stoul(line.substr(6));
  }
  return 0;
}

/// An agent in virtual time with real files and the real collator.
struct Endurance : testing::Test, AgentFixture {
  ~Endurance() override { agent.stopWatchingBookmarksFile(); }

  std::string manyBookmarks(int round) {
    std::string notation = "Root[ BookmarksBar[ x ] BookmarksMenu[";
    for (int i = 0; i < 200; ++i) notation += " entry" + std::to_string((i * 7919 + round) % 1000) + "ä";
    return notation + " ] ]";
  }

  TemporaryDirectory directory;
  LinuxFileManager files;
  std::unique_ptr<IcuCollator> collator = IcuCollator::forEnvironment();
  std::string path = directory.path("Bookmarks.plist");
  AgentPlatform real{{serialization, files, *collator, memory.uuidSource, memory.systemLog, memory.bundle,
                      memory.workspace, memory.clock},
                     application,
                     loop,
                     eventStreams,
                     preferences,
                     runningApplications,
                     bundles,
                     updaters};
  AppDelegate agent{real};
};

TEST_F(Endurance, AThousandSortsLeakNoMemoryDescriptorsOrFiles) {
  preferences.setString(kBookmarksFilenameKey, path, kMainApplicationIdentifier);
  agent.setBackupFilename(directory.path("Backup.plist"));
  application.launch(agent);
  std::size_t early = 0;
  std::size_t earlyDescriptors = 0;
  // The sanitizers report a leak after any number.
  constexpr int kRounds = casesOf(1000);
  for (int round = 0; round < kRounds; ++round) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytesOf(manyBookmarks(round));
    eventStreams.post(deletingLastPathComponent(path));
    const std::size_t announced = memory.workspace.announced().size();
    loop.advanceBy(2s + 30s);
    ASSERT_EQ(memory.workspace.announced().size(), announced + 1) << "round " << round;
    if (round != 100) continue;
    early = residentKilobytes();
    earlyDescriptors = openDescriptors();
  }
  const std::size_t late = residentKilobytes();
  ASSERT_GT(early, 0U);
  EXPECT_EQ(openDescriptors(), earlyDescriptors);
  EXPECT_EQ(directory.entryCount(), 2U) << "files other than the bookmarks and their backup";
  // The sanitizers retain freed memory. Without them, a leak of one kilobyte per round is detected.
  if (!kIsSanitized) {
    EXPECT_LT(late, early + 900) << "kilobytes, from " << early;
  }
}

}  // namespace
}  // namespace tarvel
