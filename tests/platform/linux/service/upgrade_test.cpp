// Upgrades while the agent runs.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "platform/linux/dbus/systemd_units.h"
#include "platform/linux/launch/linux_bundle.h"
#include "platform/linux/linux_agent_platform.h"
#include "platform/linux/service/autostart_files.h"
#include "platform/linux/service/linux_application.h"
#include "platform/linux/service/own_program.h"
#include "platform/linux/update/linux_updater.h"
#include "platform/memory/memory_platform.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/plist/serialization.h"
#include "tests/support/child_process.h"
#include "tests/support/linux_stream.h"
#include "tests/support/service_home.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

/// A program and its cgroups, as /proc shows them.
struct Upgrade : testing::Test {
  Upgrade() {
    install("program", "old");
    fs::create_symlink(directory.path("program"), directory.path("exe"));
    runAs("/user.slice/user@1000.service/app.slice/TarvelHelper.service");
  }

  void install(const std::string& name, const std::string& text) const {
    directory.write(name, text);
    fs::permissions(directory.path(name), fs::perms::owner_all);
  }
  void runAs(const std::string& group) const { directory.write("groups", "1:name=other:/\n0::" + group + "\n"); }
  /// Replaces the program like a package manager: the running file gets another name, and the link follows it.
  void upgrade() const {
    fs::rename(directory.path("program"), directory.path("replaced"));
    fs::remove(directory.path("exe"));
    fs::create_symlink(directory.path("replaced"), directory.path("exe"));
    install("program", "new");
  }
  [[nodiscard]] OwnProgram ownProgram() const { return OwnProgram(directory.path("exe"), directory.path("groups")); }
  /// Waits about two seconds, because the ctime cannot be set.
  [[nodiscard]] bool isReplacedEventually(const OwnProgram& program) const {
    for (int i = 0; i < 500 && !program.isReplaced(); ++i) ::usleep(10'000);
    return program.isReplaced();
  }

  TemporaryDirectory directory;
};

TEST_F(Upgrade, AProgramThatIsStillInstalledIsNotReplaced) {
  const OwnProgram program = ownProgram();
  EXPECT_FALSE(program.isReplaced());
  fs::permissions(directory.path("program"), fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_FALSE(program.isReplaced());
}

TEST_F(Upgrade, ANewFileReplacesTheProgramOnceItHasSettled) {
  const OwnProgram program = ownProgram();
  upgrade();
  EXPECT_FALSE(program.isReplaced());
  EXPECT_TRUE(isReplacedEventually(program));
  fs::permissions(directory.path("program"), fs::perms::owner_read);
  EXPECT_FALSE(program.isReplaced());
  fs::remove(directory.path("program"));
  EXPECT_FALSE(program.isReplaced());
}

TEST_F(Upgrade, TheUnitIsRecognisedByTheControlGroup) {
  EXPECT_TRUE(ownProgram().isRunByUnit("TarvelHelper.service"));
  for (const char* group : {"/user.slice/app.slice/app-org.tarvel.TarvelHelper@autostart.service", "/",
                            "/NotTarvelHelper.service", "/TarvelHelper.service/below"}) {
    runAs(group);
    EXPECT_FALSE(ownProgram().isRunByUnit("TarvelHelper.service")) << group;
  }
  fs::remove(directory.path("groups"));
  EXPECT_FALSE(ownProgram().isRunByUnit("TarvelHelper.service"));
}

struct RestartingDelegate final : ApplicationDelegate {
  void applicationDidFinishLaunching() override { hasRestarted = application->restartIfReplaced(); }
  void applicationWillTerminate() override { ++ends; }

  Application* application = nullptr;
  bool hasRestarted = false;
  int ends = 0;
};

struct ApplicationUpgrade : Upgrade {
  ApplicationUpgrade() { ::setenv("XDG_CONFIG_HOME", directory.path("config").c_str(), 1); }
  ~ApplicationUpgrade() override { ::unsetenv("XDG_CONFIG_HOME"); }

  int run(OwnProgram program) {
    LinuxApplication application(*real.loop, log, "org.tarvel.Test", std::move(program));
    delegate.application = &application;
    // Ends an application that does not restart.
    const auto end = real.loop->callAfter(std::chrono::milliseconds(1), [&] { application.terminate(); });
    return application.run(delegate);
  }

  RealLoop real;
  MemorySystemLog log;
  RestartingDelegate delegate;
};

TEST_F(ApplicationUpgrade, AServiceAsksItsManagerForARestart) {
  OwnProgram program = ownProgram();
  upgrade();
  ASSERT_TRUE(isReplacedEventually(program));
  EXPECT_EQ(run(std::move(program)), kRestartStatus);
  EXPECT_TRUE(delegate.hasRestarted);
  EXPECT_EQ(delegate.ends, 1);
  EXPECT_THAT(log.lines(), ElementsAre("Another version of TarvelHelper is installed, restarting."));
}

TEST_F(ApplicationUpgrade, WithoutAManagerTheOldProgramKeepsRunning) {
  OwnProgram program = ownProgram();
  upgrade();
  ASSERT_TRUE(isReplacedEventually(program));
  runAs("/user.slice/session-1.scope");
  EXPECT_EQ(run(std::move(program)), 0);
  EXPECT_FALSE(delegate.hasRestarted);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ApplicationUpgrade, AServiceWithAnUnchangedProgramKeepsRunning) {
  EXPECT_EQ(run(ownProgram()), 0);
  EXPECT_FALSE(delegate.hasRestarted);
}

TEST(UnitUpgrade, TheManagerRestartsAnAgentThatAsksForIt) {
  ServiceHome home;
  const RealUserManager& manager = home.startRealManager();
  if (manager.isImpossible()) GTEST_SKIP() << "no service manager can be run here: " << manager.log();
  ASSERT_TRUE(manager.isUp()) << manager.log();
  // A fake agent: its first run requests a restart, its second keeps running.
  home.write("TarvelHelper", "#!/bin/sh\necho run >> \"$HOME/runs\"\n[ $(wc -l < \"$HOME/runs\") = 1 ] && exit " +
                                 std::to_string(kRestartStatus) + "\nexec sleep 1000\n");
  fs::permissions(home.path("TarvelHelper"), fs::perms::owner_all);
  home.write(ServiceHome::kUnit, unitFor(home.path("TarvelHelper")).value_or(""));
  const ManagerConnection connection;
  SystemdUnits units(connection);
  ASSERT_TRUE(units.reload());
  ASSERT_TRUE(units.start(kAgentUnit));
  const auto runs = [&home] { return home.has("runs") ? home.read("runs") : std::string(); };
  for (int i = 0; i < 1000 && runs() != "run\nrun\n"; ++i) ::usleep(10'000);
  EXPECT_EQ(runs(), "run\nrun\n");
  EXPECT_TRUE(units.factsOf(kAgentUnit).isActive);
  EXPECT_TRUE(units.stop(kAgentUnit));
}

/// Real bundles, and a fake checker that records its arguments and finds version 2.
struct UpdaterUpgrade : testing::Test, UpdaterDelegate {
  UpdaterUpgrade() {
    setVersion("1");
    directory.write("checker", "#!/bin/sh\necho \"$4\" >> \"" + directory.path("calls") + "\"\nwhile [ ! -e \"" +
                                   directory.path("go") + "\" ]; do sleep 0.01; done\necho 2\n");
    fs::permissions(directory.path("checker"), fs::perms::owner_all);
    updater().setDelegate(this);
  }
  void updaterDidFindValidUpdate(Updater& /*updater*/, const UpdateItem& update) override {
    found.push_back(update.versionString);
  }
  [[nodiscard]] bool updaterShouldPromptForPermissionToCheckForUpdates(Updater& /*updater*/) override { return false; }

  void setVersion(const std::string& version) const {
    fs::create_directories(directory.path("Main.app/Contents"));
    directory.write("Main.app/Contents/Info.plist", "{CFBundleIdentifier = \"org.tarvel.Test\"; CFBundleVersion = \"" +
                                                        version + "\"; SUFeedURL = \"https://updates.example/feed\";}");
  }
  [[nodiscard]] Updater& updater() { return updaters.updaterForBundle(directory.path("Main.app")); }
  void finishCheck() {
    directory.write("go", "");
    EXPECT_TRUE(real.turnUntil([] { return !hasChildren(); }));
    fs::remove(directory.path("go"));
  }

  TemporaryDirectory directory;
  RealLoop real;
  PlistSerialization lists;
  LinuxBundles bundles{lists, {}};
  MemoryPreferencesStore preferences;
  LinuxUpdaters updaters{{*real.loop, preferences, bundles, directory.path("checker")}};
  std::vector<std::string> found;
};

TEST_F(UpdaterUpgrade, EachCheckComparesWithTheInstalledVersion) {
  for (const char* version : {"1", "2"}) {
    setVersion(version);
    updater().checkForUpdateInformation();
    finishCheck();
  }
  EXPECT_EQ(directory.read("calls"), "1\n2\n");
}

TEST_F(UpdaterUpgrade, AnUpdateInstalledDuringTheCheckIsNotReported) {
  updater().checkForUpdateInformation();
  setVersion("2");
  finishCheck();
  EXPECT_THAT(found, IsEmpty());
}

TEST_F(UpdaterUpgrade, AnUpdateThatIsNotInstalledIsReported) {
  updater().checkForUpdateInformation();
  finishCheck();
  EXPECT_THAT(found, ElementsAre("2"));
}

TEST(AgentStart, AMissingRunLoopIsLogged) {
  int ours = -1;
  int theirs = -1;
  ASSERT_EQ(::openpty(&ours, &theirs, nullptr, nullptr, nullptr), 0);
  const int answer = inChildWithFaults({{SYS_epoll_create1, EMFILE}}, [theirs] {
    (void)::dup2(theirs, STDERR_FILENO);
    return LinuxAgentPlatform::create("TarvelHelper", "org.tarvel.Test") ? 1 : 0;
  });
  EXPECT_EQ(answer, 0);
  (void)::fcntl(ours, F_SETFL, O_NONBLOCK);
  std::string text(1000, '\0');
  const ssize_t size = ::read(ours, text.data(), text.size());
  text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  EXPECT_THAT(text, testing::HasSubstr("Could not create a run loop: Too many open files, terminating."));
  (void)::close(ours);
  (void)::close(theirs);
}

}  // namespace
}  // namespace tarvel
