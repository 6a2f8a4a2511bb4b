// Facts about real files, file systems, watches and processes.

#include "platform/linux/linux_system_probe.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "platform/linux/service/linux_agent_service.h"
#include "platform/linux/watch/inotify.h"
#include "tests/support/child_process.h"
#include "tests/support/service_home.h"
#include "tests/support/session_bus.h"

namespace tarvel {
namespace {

using testing::Not;
namespace fs = std::filesystem;

struct SystemProbeTest : testing::Test {
  ServiceHome home;
  LinuxSystemProbe probe{ServiceHome::kIdentifier};
};

TEST_F(SystemProbeTest, ReportsSizeDateModeAndPermissionsOfAFile) {
  home.write("file", "12345");
  fs::permissions(home.path("file"), fs::perms{0640});
  const PathFacts facts = probe.path(home.path("file"));
  EXPECT_EQ(facts.kind, PathKind::kFile);
  EXPECT_FALSE(facts.isLink);
  EXPECT_EQ(facts.realPath, fs::canonical(home.path("file")).string());
  EXPECT_TRUE(facts.isReadable && facts.isWritable && facts.isOwn);
  EXPECT_FALSE(facts.isExecutable);
  EXPECT_EQ(facts.size, 5U);
  EXPECT_EQ(facts.mode, 0640U);
  struct stat status {};
  ASSERT_EQ(::stat(home.path("file").c_str(), &status), 0);
  ASSERT_TRUE(facts.changed);
  EXPECT_EQ(facts.changed->seconds, status.st_mtim.tv_sec);
}

TEST_F(SystemProbeTest, DistinguishesKinds) {
  EXPECT_EQ(probe.path(home.path("runtime")).kind, PathKind::kFolder);
  EXPECT_TRUE(probe.path(home.path("runtime")).isExecutable);
  ASSERT_EQ(::mkfifo(home.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(probe.path(home.path("pipe")).kind, PathKind::kOther);
  EXPECT_EQ(probe.path(home.path("missing")).kind, PathKind::kMissing);
  home.write("file", "");
  EXPECT_EQ(probe.path(home.path("file/below")).kind, PathKind::kMissing);
  EXPECT_EQ(probe.path("").kind, PathKind::kMissing);
}

TEST_F(SystemProbeTest, ReportsTheTargetOfALink) {
  home.write("target", "x");
  fs::create_symlink("target", home.path("link"));
  const PathFacts facts = probe.path(home.path("link"));
  EXPECT_TRUE(facts.isLink);
  EXPECT_EQ(facts.kind, PathKind::kFile);
  EXPECT_EQ(facts.realPath, fs::canonical(home.path("target")).string());
  fs::create_symlink("nowhere", home.path("broken"));
  EXPECT_TRUE(probe.path(home.path("broken")).isLink);
  EXPECT_EQ(probe.path(home.path("broken")).kind, PathKind::kMissing);
}

TEST_F(SystemProbeTest, PermissionsAreThoseOfTheCaller) {
  home.write("closed/file", "x");
  home.write("file", "x");
  fs::permissions(home.path("file"), fs::perms{0400});
  fs::permissions(home.path("closed"), fs::perms{0000});
  fs::permissions(home.path(""), fs::perms{0755});
  if (::geteuid() == 0) {
    ASSERT_EQ(::chown(home.path("file").c_str(), 65534, 65534), 0);
  }
  EXPECT_EQ(inChildWithoutPrivileges([this] {
              const PathFacts facts = probe.path(home.path("file"));
              const PathFacts closed = probe.path(home.path("closed/file"));
              const bool isRight = facts.isReadable && !facts.isWritable && closed.kind == PathKind::kUnknown &&
                                   !closed.reason.empty() && !probe.isSuperUser();
              return isRight ? 0 : 1;
            }),
            0);
  fs::permissions(home.path("closed"), fs::perms::owner_all);
}

TEST_F(SystemProbeTest, KnowsKernelFileSystemsByName) {
  EXPECT_EQ(probe.fileSystem("/proc").name, "proc");
  const FileSystemFacts facts = probe.fileSystem(home.path(""));
  EXPECT_FALSE(facts.name.empty());
  EXPECT_FALSE(facts.isReadOnly);
  EXPECT_GT(facts.freeBytes, 0U);
}

TEST_F(SystemProbeTest, WatchesInUseAreCounted) {
  const WatchFacts before = probe.watches();
  ASSERT_TRUE(before.mostWatches && before.usedWatches && before.mostInstances && before.usedInstances);
  EXPECT_GT(*before.mostWatches, 0U);
  // Other processes add and remove watches meanwhile, so many are added at once.
  constexpr std::uint64_t kMany = 40;
  Inotify inotify;
  ASSERT_TRUE(inotify);
  for (std::uint64_t i = 0; i < kMany; ++i) {
    const std::string folder = home.path("watched" + std::to_string(i));
    fs::create_directory(folder);
    ASSERT_GE(inotify.watch(folder, IN_CREATE), 0);
  }
  const WatchFacts after = probe.watches();
  EXPECT_GE(*after.usedWatches, kMany);
  EXPECT_GE(*after.usedInstances, 1U);
}

TEST_F(SystemProbeTest, ReportsTheAgentsProgramAndLanguage) {
  EXPECT_EQ(probe.agentProcess().program, "");
  const char* const previous = std::getenv("LC_ALL");
  const std::string kept = previous == nullptr ? "" : previous;
  ::setenv("LC_ALL", "sv_SE.UTF-8", 1);
  EXPECT_EQ(probe.orderLanguage(), "sv_SE.UTF-8");
  LinuxAgentService service(ServiceHome::kIdentifier);
  ASSERT_TRUE(service.start(home.agent()).isDone);
  ::setenv("LC_ALL", kept.c_str(), 1);
  const AgentProcessFacts facts = probe.agentProcess();
  EXPECT_EQ(facts.program, home.agent());
  EXPECT_FALSE(facts.isProgramGone);
  EXPECT_EQ(facts.orderLanguage, "sv_SE.UTF-8");
  fs::remove(home.agent());
  EXPECT_TRUE(probe.agentProcess().isProgramGone);
}

TEST_F(SystemProbeTest, DetectsTheSessionBus) {
  EXPECT_FALSE(probe.hasSessionBus());
  SessionBus bus;
  bus.start();
  ASSERT_TRUE(bus.isUp());
  EXPECT_TRUE(probe.hasSessionBus());
}

}  // namespace
}  // namespace tarvel
