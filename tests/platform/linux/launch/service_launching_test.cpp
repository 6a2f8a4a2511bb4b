// Launching through the user's service manager: a fake that records requests, and a real one.

#include <gmock/gmock.h>

#include <csignal>

#include "platform/linux/dbus/manager_connection.h"
#include "tests/support/child_process.h"
#include "tests/support/launching_fixture.h"
#include "tests/support/real_user_manager.h"

namespace tarvel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr const char* kOddName = "a b/$HOME ${HOME} $$ %n %% 'q' \"ü\" \\x";

struct ServiceLaunching : Launching {
  [[nodiscard]] bool launch(const std::string& path) {
    return workspace.launchApplicationAtUrlOptions(path, kWorkspaceLaunchDefault);
  }
};

/// Session variables, restored at the end of a test.
struct SessionVariables {
  SessionVariables() {
    ::setenv("WAYLAND_DISPLAY", "wayland-7", 1);
    ::setenv("XDG_CURRENT_DESKTOP", "Tarvel:Test", 1);
    ::setenv("XDG_ACTIVATION_TOKEN", "spent", 1);
    ::setenv("XDG_SESSION_DESKTOP", "\xFF", 1);
    ::setenv("XDG_SEAT", "a\x01", 1);
  }
  ~SessionVariables() {
    for (const char* name :
         {"WAYLAND_DISPLAY", "XDG_CURRENT_DESKTOP", "XDG_ACTIVATION_TOKEN", "XDG_SESSION_DESKTOP", "XDG_SEAT"}) {
      ::unsetenv(name);
    }
  }
  SessionVariables(const SessionVariables&) = delete;
  SessionVariables& operator=(const SessionVariables&) = delete;
};

struct FakeManager : ServiceLaunching {
  void startManager(const std::string& mode = {}) {
    bus.addService("org.freedesktop.systemd1", std::string(TARVEL_FAKE_USER_MANAGER) + " " + mode);
    bus.start();
    ASSERT_TRUE(bus.isUp());
    ASSERT_TRUE(bus.activate("org.freedesktop.systemd1"));
  }

  SessionBus bus;
};

TEST_F(FakeManager, ReceivesAUnitThatOutlivesTheAgentWithLiteralArguments) {
  startManager();
  EXPECT_TRUE(workspace.offersLaunchApplicationAtUrl());
  const std::string path = program(kOddName);
  EXPECT_TRUE(launch(path));
  EXPECT_THAT(waitForNotes().arguments, ElementsAre(path));
  auto unit = linesOf("unit");
  EXPECT_THAT(unit["name"], testing::MatchesRegex("app-org\\.tarvel\\.Tarvel@[0-9a-f]*\\.service"));
  EXPECT_EQ(unit["mode"], "fail");
  EXPECT_EQ(unit["Type"], "s exec");
  EXPECT_EQ(unit["ExitType"], "s cgroup");
  EXPECT_EQ(unit["Slice"], "s app.slice");
  EXPECT_EQ(unit["CollectMode"], "s inactive-or-failed");
  EXPECT_EQ(unit["ExecStartEx"], "a(sasas) " + path + "|" + path + "|no-env-expand|");
  EXPECT_EQ(unit["WorkingDirectory"], "s " + directory.path());
}

TEST_F(FakeManager, ReceivesTheSessionVariablesAndNoOthers) {
  startManager();
  const SessionVariables variables;
  EXPECT_TRUE(launch(program("recorder")));
  const std::string environment = "|" + linesOf("unit")["Environment"].substr(3);
  EXPECT_THAT(environment, HasSubstr("|WAYLAND_DISPLAY=wayland-7|"));
  EXPECT_THAT(environment, HasSubstr("|XDG_CURRENT_DESKTOP=Tarvel:Test|"));
  EXPECT_THAT(environment, HasSubstr("|DBUS_SESSION_BUS_ADDRESS=unix:path="));
  for (const char* name : {"XDG_ACTIVATION_TOKEN", "XDG_SESSION_DESKTOP", "XDG_SEAT", "TARVEL_RECORD", "PATH"}) {
    EXPECT_THAT(environment, Not(HasSubstr("|" + std::string(name) + "="))) << name;
  }
}

TEST_F(FakeManager, KeepsItsOwnDisplayVariables) {
  startManager();
  const SessionVariables variables;
  directory.write("manager", "DISPLAY=:5\nLANG=de_DE.UTF-8\n");
  ::setenv("LANG", "en_GB.UTF-8", 1);
  EXPECT_TRUE(launch(program("recorder")));
  ::unsetenv("LANG");
  const std::string environment = "|" + linesOf("unit")["Environment"].substr(3);
  for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "XDG_CURRENT_DESKTOP", "LANG"}) {
    EXPECT_THAT(environment, Not(HasSubstr("|" + std::string(name) + "="))) << name;
  }
  EXPECT_THAT(environment, HasSubstr("|XDG_DATA_HOME=" + directory.path("data") + "|"));
}

TEST_F(FakeManager, AlwaysReceivesTheSettingsFolder) {
  startManager();
  directory.write("manager", "XDG_CONFIG_HOME=/elsewhere\n");
  EXPECT_TRUE(launch(program("recorder")));
  EXPECT_THAT("|" + linesOf("unit")["Environment"].substr(3),
              HasSubstr("|XDG_CONFIG_HOME=" + directory.path(".config") + "|"));
}

TEST_F(FakeManager, LaunchesOverTheConnectionOnWhichItAnswered) {
  startManager();
  const std::string path = program("recorder");
  ASSERT_TRUE(workspace.offersLaunchApplicationAtUrl());
  ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere", 1);
  EXPECT_TRUE(launch(path));
  // The next launch needs another connection.
  EXPECT_FALSE(launch(path));
}

TEST_F(FakeManager, ReceivesANewUnitNameForEachLaunch) {
  startManager();
  const std::string path = program("recorder");
  EXPECT_TRUE(launch(path));
  const std::string first = linesOf("unit")["name"];
  EXPECT_TRUE(launch(path));
  EXPECT_NE(linesOf("unit")["name"], first);
}

TEST_F(FakeManager, StartsABundlesExecutableAndADesktopFilesExecLine) {
  startManager();
  const std::string path = bundle("Main");
  const std::string main = program("Tarvel.app/Contents/Linux/Main");
  EXPECT_TRUE(launch(path));
  EXPECT_EQ(linesOf("unit")["ExecStartEx"], "a(sasas) " + main + "|" + main + "|no-env-expand|");
  writeDesktopFile("some.desktop", "Exec=true %U \"two words\" $x\n");
  EXPECT_TRUE(launch(directory.path("some.desktop")));
  EXPECT_THAT(linesOf("unit")["ExecStartEx"],
              testing::MatchesRegex("a\\(sasas\\) /.*/true\\|true\\|two words\\|\\$x\\|no-env-expand\\|"));
}

TEST_F(FakeManager, AFailedExecutionIsNotALaunch) {
  directory.write("garbage", "no program");
  fs::permissions(directory.path("garbage"), fs::perms::owner_all);
  startManager();
  EXPECT_FALSE(launch(directory.path("garbage")));
  EXPECT_EQ(linesOf("unit")["Type"], "s exec");
}

TEST_F(FakeManager, ReceivesNoRequestForAnUnusablePath) {
  startManager();
  EXPECT_FALSE(launch(directory.path("missing")));
  EXPECT_FALSE(launch(directory.path()));
  EXPECT_FALSE(launch(""));
  // D-Bus strings are UTF-8.
  EXPECT_FALSE(launch(program("\xFF")));
  EXPECT_THAT(linesOf("unit"), IsEmpty());
}

TEST_F(FakeManager, TimesOutWithoutAJobResultAndStopsTheUnit) {
  startManager("endless");
  const auto start = Clock::now();
  EXPECT_FALSE(launch(program("recorder")));
  EXPECT_LT(Clock::now() - start, kTooLong);
  EXPECT_TRUE(turnUntil([this] { return !linesOf("stopped").empty(); }));
  EXPECT_EQ(linesOf("stopped")["name"], linesOf("unit")["name"]);
}

TEST_F(FakeManager, TimesOutWithoutAReplyAndStopsTheUnit) {
  startManager("mute");
  const auto start = Clock::now();
  EXPECT_TRUE(workspace.offersLaunchApplicationAtUrl());
  EXPECT_FALSE(launch(program("recorder")));
  EXPECT_LT(Clock::now() - start, kTooLong);
  EXPECT_TRUE(turnUntil([this] { return !linesOf("stopped").empty(); }));
  EXPECT_EQ(linesOf("stopped")["name"], linesOf("unit")["name"]);
}

TEST_F(ServiceLaunching, WithoutABusOrManagerLaunchingFailsImmediately) {
  const auto start = Clock::now();
  EXPECT_FALSE(workspace.offersLaunchApplicationAtUrl());
  EXPECT_FALSE(launch("/bin/true"));
  ::setenv("XDG_RUNTIME_DIR", "/nowhere", 1);
  EXPECT_FALSE(workspace.offersLaunchApplicationAtUrl());
  EXPECT_FALSE(launch("/bin/true"));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(1));
}

TEST_F(ServiceLaunching, ABusWithoutAManagerOffersNoLaunchByUrl) {
  SessionBus bus;
  bus.start();
  ASSERT_TRUE(bus.isUp());
  EXPECT_FALSE(workspace.offersLaunchApplicationAtUrl());
  EXPECT_FALSE(launch("/bin/true"));
}

TEST_F(ServiceLaunching, AManagerThatIsNotRunningIsNotStarted) {
  SessionBus bus;
  bus.addService("org.freedesktop.systemd1", TARVEL_FAKE_USER_MANAGER);
  bus.start();
  ASSERT_TRUE(bus.isUp());
  EXPECT_FALSE(workspace.offersLaunchApplicationAtUrl());
}

struct RealManager : ServiceLaunching {
  void SetUp() override {
    if (manager.isImpossible()) GTEST_SKIP() << "no service manager can be run here: " << manager.log();
    ASSERT_TRUE(manager.isUp()) << manager.log();
    ::setenv("XDG_RUNTIME_DIR", manager.runtimeFolder().c_str(), 1);
  }

  RealUserManager manager;
};

TEST_F(RealManager, RunsTheProgramInItsOwnUnitWithLiteralArguments) {
  EXPECT_TRUE(workspace.offersLaunchApplicationAtUrl());
  const SessionVariables variables;
  const std::string path = program(kOddName);
  EXPECT_TRUE(launch(path));
  Notes one = waitForNotes();
  EXPECT_THAT(one.arguments, ElementsAre(path));
  EXPECT_EQ(one.facts["session"], one.facts["pid"]);
  EXPECT_EQ(one.facts["SigBlk:"], "0000000000000000");
  EXPECT_EQ(one.facts["folder"], fs::canonical(directory.path()).string());
  EXPECT_THAT(one.facts["group"], testing::MatchesRegex("/app\\.slice/app-org\\.tarvel\\.Tarvel@[0-9a-f]*\\.service"));
  EXPECT_EQ(one.environment["XDG_CURRENT_DESKTOP"], "Tarvel:Test");
  EXPECT_EQ(one.environment["WAYLAND_DISPLAY"], "wayland-7");
  EXPECT_THAT(one.environment, Not(Contains(Key("XDG_ACTIVATION_TOKEN"))));
}

TEST_F(RealManager, PassesADisplayThatWasSetLater) {
  const SessionVariables variables;
  const ManagerConnection connection;
  const BusMessagePointer request = connection.newCall("SetEnvironment");
  ASSERT_TRUE(request);
  ASSERT_GE(sd_bus_message_append(request.get(), "as", 2, "WAYLAND_DISPLAY=wayland-8", "XDG_CURRENT_DESKTOP=Newer"), 0);
  ASSERT_GE(sd_bus_call(connection.bus(), request.get(), busTimeout(kTooLong), nullptr, nullptr), 0);
  EXPECT_TRUE(launch(program("recorder")));
  Notes one = waitForNotes();
  EXPECT_EQ(one.environment["WAYLAND_DISPLAY"], "wayland-8");
  EXPECT_EQ(one.environment["XDG_CURRENT_DESKTOP"], "Newer");
}

TEST_F(RealManager, ReportsAFailedExecution) {
  directory.write("garbage", "no program");
  directory.write("interpreted", "#!/nowhere/interpreter\n");
  for (const char* name : {"garbage", "interpreted"}) {
    fs::permissions(directory.path(name), fs::perms::owner_all);
    EXPECT_FALSE(launch(directory.path(name))) << name;
  }
  EXPECT_FALSE(launch(directory.path("missing")));
}

TEST_F(RealManager, LaunchesAProgramThatExitsAtOnce) {
  EXPECT_TRUE(launch("/bin/true"));
  EXPECT_TRUE(launch("/bin/true"));
}

TEST_F(RealManager, KeepsAProgramWhoseLauncherExited) {
  const std::string path = program("recorder");
  const int answer = inChild([&] {
    PlistSerialization lists;
    LinuxWorkspace child(lists, nullptr);
    return child.launchApplicationAtUrlOptions(path, kWorkspaceLaunchDefault) ? 0 : 1;
  });
  ASSERT_EQ(answer, 0);
  (void)waitForNotes();
  // The program reacts to this file only if it is still running.
  directory.write("quit", "");
  EXPECT_TRUE(turnUntil([this] { return fs::exists(directory.path("ended")); }));
}

}  // namespace
}  // namespace tarvel
