// Conformance of SystemProbe, for every implementation.

#include <gmock/gmock.h>

#include <filesystem>

#include "platform/linux/linux_system_probe.h"
#include "platform/memory/memory_system_probe.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

struct MemoryProbeKind {
  [[nodiscard]] std::string file() {
    probe.put("/folder/file", PathKind::kFile);
    return "/folder/file";
  }
  [[nodiscard]] std::string folder() {
    probe.put("/folder", PathKind::kFolder);
    return "/folder";
  }
  [[nodiscard]] std::string missing() const { return "/missing"; }

  MemorySystemProbe probe;
};

struct LinuxProbeKind {
  [[nodiscard]] std::string file() const {
    directory.write("file", "");
    std::filesystem::permissions(directory.path("file"), std::filesystem::perms{0600});
    return directory.path("file");
  }
  [[nodiscard]] std::string folder() const { return directory.path(); }
  [[nodiscard]] std::string missing() const { return directory.path("missing"); }

  TemporaryDirectory directory;
  LinuxSystemProbe probe{"org.tarvel.Nobody"};
};

template <typename Kind>
struct SystemProbeConformance : testing::Test, Kind {};
using ProbeKinds = testing::Types<MemoryProbeKind, LinuxProbeKind>;
TYPED_TEST_SUITE(SystemProbeConformance, ProbeKinds);

TYPED_TEST(SystemProbeConformance, DescribesAFileOfTheUser) {
  const PathFacts facts = this->probe.path(this->file());
  EXPECT_EQ(facts.kind, PathKind::kFile);
  EXPECT_TRUE(facts.isReadable && facts.isWritable && facts.isOwn && facts.changed);
  EXPECT_FALSE(facts.isLink || facts.isExecutable);
  EXPECT_FALSE(facts.realPath.empty());
  EXPECT_EQ(facts.mode, 0600U);
  EXPECT_EQ(facts.reason, "");
}

TYPED_TEST(SystemProbeConformance, DescribesAFolderOfTheUser) {
  const PathFacts facts = this->probe.path(this->folder());
  EXPECT_EQ(facts.kind, PathKind::kFolder);
  EXPECT_TRUE(facts.isReadable && facts.isWritable && facts.isExecutable && facts.isOwn);
  const FileSystemFacts system = this->probe.fileSystem(this->folder());
  EXPECT_FALSE(system.name.empty());
  EXPECT_GT(system.freeBytes, 0U);
}

TYPED_TEST(SystemProbeConformance, AMissingItemHasNoPermissions) {
  const PathFacts facts = this->probe.path(this->missing());
  EXPECT_EQ(facts.kind, PathKind::kMissing);
  EXPECT_EQ(facts.realPath, "");
  EXPECT_FALSE(facts.isReadable || facts.isWritable || facts.isExecutable || facts.isLink || facts.changed);
}

TYPED_TEST(SystemProbeConformance, WithoutAnAgentItsProgramIsUnknown) {
  EXPECT_EQ(this->probe.agentProcess().program, "");
  EXPECT_FALSE(this->probe.agentProcess().isProgramGone);
}

TYPED_TEST(SystemProbeConformance, WatchesInUseAreWithinTheLimit) {
  const WatchFacts facts = this->probe.watches();
  ASSERT_TRUE(facts.mostWatches && facts.usedWatches && facts.mostInstances && facts.usedInstances);
  EXPECT_LE(*facts.usedWatches, *facts.mostWatches);
  EXPECT_LE(*facts.usedInstances, *facts.mostInstances);
}

}  // namespace
}  // namespace tarvel
