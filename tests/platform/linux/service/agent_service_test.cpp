// How the agent is enabled, started and stopped: files created and removed, foreign files kept, the right process
// stopped.

#include <gmock/gmock.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/linux/base/unique_fd.h"
#include "platform/linux/files/managed_file.h"
#include "platform/linux/launch/desktop_entry.h"
#include "platform/linux/launch/process_spawning.h"
#include "platform/linux/service/autostart_files.h"
#include "platform/linux/service/instance_lock.h"
#include "platform/linux/service/linux_agent_service.h"
#include "platform/linux/service/running_agent.h"
#include "tests/support/service_home.h"

namespace tarvel {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
namespace fs = std::filesystem;

struct AgentOnDesktop : testing::Test {
  ServiceHome home;
  LinuxAgentService service{ServiceHome::kIdentifier};
};

struct AgentUnderManager : AgentOnDesktop {
  AgentUnderManager() { EXPECT_TRUE(home.startFakeManager()); }

  /// Installs a unit, like a package.
  void installUnit(const std::string& program) const {
    home.write("units/TarvelHelper.service", unitFor(program).value_or(""));
  }
};

TEST_F(AgentUnderManager, ReceivesAUserUnitWithTheInstalledUnitsSettingsIfNoneIsInstalled) {
  const std::string agent = home.agent("a %n b$HOME");
  ASSERT_TRUE(service.enable(agent).isDone);
  const std::string unit = home.read(ServiceHome::kUnit);
  EXPECT_THAT(unit, StartsWith(std::string(kManagedMark) + "[Unit]\n"));
  EXPECT_THAT(unit, HasSubstr("\nExecStart=:\"" + home.path("a %%n b$HOME/TarvelHelper") + "\"\n"));
  for (const char* line : {"Type=exec", "KillMode=process", "NoNewPrivileges=yes", "WantedBy=default.target"}) {
    EXPECT_THAT(unit, HasSubstr("\n" + std::string(line) + "\n"));
  }
  EXPECT_TRUE(home.has(ServiceHome::kLink));
  EXPECT_TRUE(service.start(agent).isDone);
  ASSERT_TRUE(service.disable().isDone);
  EXPECT_FALSE(home.has(ServiceHome::kUnit));
  EXPECT_FALSE(home.has(ServiceHome::kLink));
}

TEST_F(AgentUnderManager, UsesTheInstalledUnitIfItStartsThisAgent) {
  installUnit(home.agent());
  ASSERT_TRUE(service.enable(home.agent()).isDone);
  EXPECT_FALSE(home.has(ServiceHome::kUnit));
  EXPECT_TRUE(home.has(ServiceHome::kLink));
  ASSERT_TRUE(service.disable().isDone);
  EXPECT_TRUE(home.has("units/TarvelHelper.service"));
}

TEST_F(AgentUnderManager, SwitchesFromTheInstalledAgentToAnotherAndBack) {
  installUnit(home.agent("installed"));
  ASSERT_TRUE(service.enable(home.agent("built")).isDone);
  EXPECT_EQ(service.loginEntry().program, home.agent("built"));
  const ServiceAnswer back = service.enable(home.agent("installed"));
  EXPECT_TRUE(back.isDone && back.isChanged);
  EXPECT_EQ(service.loginEntry().program, home.agent("installed"));
  EXPECT_FALSE(home.has(ServiceHome::kUnit));
}

TEST_F(AgentUnderManager, KeepsAForeignUnit) {
  home.write(ServiceHome::kUnit, "[Service]\nExecStart=/bin/true\n");
  const ServiceAnswer answer = service.enable(home.agent());
  EXPECT_FALSE(answer.isDone);
  EXPECT_THAT(answer.complaint, HasSubstr(home.path(ServiceHome::kUnit)));
  EXPECT_TRUE(service.disable().isDone);
  EXPECT_EQ(home.read(ServiceHome::kUnit), "[Service]\nExecStart=/bin/true\n");
}

TEST_F(AgentUnderManager, EnablesTheUsersOwnUnitForThisAgent) {
  const std::string own = "[Service]\nExecStart=" + home.agent() + "\n";
  home.write(ServiceHome::kUnit, own);
  EXPECT_TRUE(service.enable(home.agent()).isDone);
  EXPECT_EQ(home.read(ServiceHome::kUnit), own);
  EXPECT_TRUE(service.disable().isChanged);
  EXPECT_EQ(home.read(ServiceHome::kUnit), own);
}

TEST_F(AgentUnderManager, LeavesAMaskedUnitMasked) {
  fs::create_directories(home.path(".config/systemd/user"));
  fs::create_symlink("/dev/null", home.path(ServiceHome::kUnit));
  const ServiceAnswer answer = service.enable(home.agent());
  EXPECT_FALSE(answer.isDone);
  EXPECT_THAT(answer.complaint, HasSubstr("systemctl --user unmask TarvelHelper.service"));
  EXPECT_TRUE(service.disable().isDone);
  EXPECT_EQ(fs::read_symlink(home.path(ServiceHome::kUnit)), "/dev/null");
}

TEST_F(AgentUnderManager, IsRefusedIfItUsesAnotherSettingsFolder) {
  ::setenv("XDG_CONFIG_HOME", home.path("elsewhere").c_str(), 1);
  const ServiceAnswer answer = service.enable(home.agent());
  EXPECT_FALSE(answer.isDone);
  EXPECT_THAT(answer.complaint, HasSubstr("XDG_CONFIG_HOME"));
  EXPECT_FALSE(home.has("elsewhere"));
}

TEST_F(AgentUnderManager, ReplacesTheAutostartEntry) {
  home.write(ServiceHome::kAutostart, std::string(kManagedMark) + autostartEntryFor(home.agent()).value_or(""));
  EXPECT_EQ(service.loginEntry().by, LoginStart::kDesktop);
  EXPECT_TRUE(service.enable(home.agent()).isChanged);
  EXPECT_EQ(service.loginEntry().by, LoginStart::kServiceManager);
  EXPECT_FALSE(home.has(ServiceHome::kAutostart));
}

TEST_F(AgentUnderManager, UsesAnAutostartEntryForAPathThatNoUnitCanName) {
  const std::string agent = home.agent("it's");
  EXPECT_TRUE(service.enable(agent).isDone);
  EXPECT_EQ(service.loginEntry().by, LoginStart::kDesktop);
  EXPECT_EQ(service.loginEntry().program, agent);
}

TEST_F(AgentUnderManager, StartingAProgramThatExitsAtOnceFails) {
  fs::create_directories(home.path("brief"));
  fs::copy_file("/bin/true", home.path("brief/TarvelHelper"));
  ASSERT_TRUE(service.enable(home.path("brief/TarvelHelper")).isDone);
  const ServiceAnswer answer = service.start(home.path("brief/TarvelHelper"));
  EXPECT_FALSE(answer.isDone);
  EXPECT_THAT(answer.complaint, HasSubstr("has ended again"));
}

TEST_F(AgentOnDesktop, ARefusalByTheManagerIsReportedAndNothingIsEnabled) {
  ASSERT_TRUE(home.startFakeManager("refuse"));
  const ServiceAnswer answer = service.enable(home.agent());
  EXPECT_FALSE(answer.isDone);
  EXPECT_THAT(answer.complaint, HasSubstr("Not today"));
  EXPECT_EQ(service.loginEntry().by, LoginStart::kNone);
  EXPECT_FALSE(home.has(ServiceHome::kUnit));
}

TEST_F(AgentOnDesktop, SpecialCharactersInTheAutostartPathAreQuoted) {
  for (const char* folder : {"plain", "a b", "$HOME", "%n%%", "it's", "\"q\"", "`id`", "back\\slash", "ü", "\xFF"}) {
    const std::string agent = home.agent(folder);
    ASSERT_TRUE(service.enable(agent).isDone) << folder;
    const auto command = commandOfDesktopFile(home.path(ServiceHome::kAutostart));
    ASSERT_TRUE(command) << folder;
    EXPECT_EQ(command->program, agent);
    EXPECT_THAT(command->arguments, testing::ElementsAre(agent));
  }
  EXPECT_FALSE(service.enable(home.agent("line\nbreak")).isDone);
}

TEST_F(AgentOnDesktop, AForeignDesktopFileIsKept) {
  const std::string own = "[Desktop Entry]\nType=Application\nName=x\nExec=/bin/true\n";
  home.write(ServiceHome::kAutostart, own);
  const ServiceAnswer answer = service.enable(home.agent());
  EXPECT_FALSE(answer.isDone);
  EXPECT_THAT(answer.complaint, HasSubstr("was not made by this command"));
  EXPECT_TRUE(service.disable().isDone);
  EXPECT_EQ(home.read(ServiceHome::kAutostart), own);
}

TEST_F(AgentOnDesktop, ALinkIsNeverWrittenThroughOrRemoved) {
  home.write("target", std::string(kManagedMark));
  fs::create_directories(home.path(".config/autostart"));
  fs::create_symlink(home.path("target"), home.path(ServiceHome::kAutostart));
  EXPECT_FALSE(service.enable(home.agent()).isDone);
  EXPECT_TRUE(service.disable().isDone);
  EXPECT_TRUE(fs::is_symlink(home.path(ServiceHome::kAutostart)));
  EXPECT_EQ(home.read("target"), std::string(kManagedMark));
}

TEST_F(AgentOnDesktop, AFileInPlaceOfAFolderIsReportedAndNothingIsLeftBehind) {
  home.write(".config", "in the way");
  const ServiceAnswer answer = service.enable(home.agent());
  EXPECT_FALSE(answer.isDone);
  EXPECT_FALSE(answer.complaint.empty());
  EXPECT_EQ(home.read(".config"), "in the way");
}

TEST_F(AgentOnDesktop, AnEnabledUnitCanBeDisabledWithoutTheManager) {
  home.write(ServiceHome::kUnit, std::string(kManagedMark) + unitFor(home.agent()).value_or(""));
  fs::create_directories(fs::path(home.path(ServiceHome::kLink)).parent_path());
  fs::create_symlink(home.path(ServiceHome::kUnit), home.path(ServiceHome::kLink));
  EXPECT_EQ(service.loginEntry().by, LoginStart::kServiceManager);
  EXPECT_TRUE(service.disable().isChanged);
  EXPECT_FALSE(home.has(ServiceHome::kUnit));
  EXPECT_FALSE(home.has(ServiceHome::kLink));
}

TEST_F(AgentOnDesktop, ALockHolderWithAnotherNameIsLeftAlone) {
  const InstanceLock lock(instanceLockPath(ServiceHome::kIdentifier));
  ASSERT_EQ(lock.state(), InstanceLock::State::kHeld);
  // This process, which is not an agent.
  const ServiceAnswer answer = service.stop();
  EXPECT_FALSE(answer.isDone);
  EXPECT_THAT(answer.complaint, HasSubstr("was left alone"));
}

TEST_F(AgentOnDesktop, ANumberInAnUnheldLockFileIsIgnored) {
  const auto other = spawnDetached({home.agent(), {home.agent(), "org.tarvel.Other"}, {}});
  ASSERT_TRUE(other);
  const std::string lock = instanceLockPath(ServiceHome::kIdentifier);
  home.write(".config/org.tarvel.Test/helper.lock", std::to_string(*other) + "\n");
  // A process that holds the lock and has not written its process id yet.
  const UniqueFd held(::open(lock.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(held.get(), LOCK_EX | LOCK_NB), 0);
  EXPECT_FALSE(RunningAgent(lock, "TarvelHelper"));
  EXPECT_EQ(service.runningAgent(), 0);
  EXPECT_FALSE(service.stop().isDone);
  EXPECT_EQ(::kill(*other, 0), 0);
  (void)::kill(*other, SIGKILL);
  (void)::waitpid(*other, nullptr, 0);
}

TEST_F(AgentOnDesktop, AnAgentWhoseProgramWasReplacedIsStillRecognised) {
  ASSERT_TRUE(service.start(home.agent()).isDone);
  fs::remove(home.agent());
  const RunningAgent agent(instanceLockPath(ServiceHome::kIdentifier), "TarvelHelper");
  ASSERT_TRUE(agent);
  EXPECT_TRUE(agent.isFileGone());
  EXPECT_EQ(agent.file(), home.path("app/TarvelHelper"));
  EXPECT_TRUE(service.stop().isChanged);
}

/// The unit run by a real manager, with a script as the agent that records its permissions.
struct AgentUnderRealManager : testing::Test {
  void SetUp() override {
    if (manager.isImpossible()) GTEST_SKIP() << "no service manager can be run here: " << manager.log();
    ASSERT_TRUE(manager.isUp()) << manager.log();
  }

  /// The shell's exit status for each command, one per line.
  [[nodiscard]] std::string statusesOf(const std::vector<std::string>& commands) {
    std::string script = "#!/bin/sh\nexec 2>/dev/null\ncd '" + home.path("") + "'\n";
    for (const std::string& command : commands) script += command + "\necho $? >>statuses\n";
    home.write("app/TarvelHelper", script + "mv statuses done\n");
    fs::permissions(home.path("app/TarvelHelper"), fs::perms::owner_all);
    EXPECT_TRUE(service.enable(home.path("app/TarvelHelper")).isDone);
    // Unlike an agent it holds no lock, so start() reports that it exited.
    EXPECT_FALSE(service.start(home.path("app/TarvelHelper")).isDone);
    return home.read("done");
  }

  ServiceHome home;
  RealUserManager& manager = home.startRealManager();
  LinuxAgentService service{ServiceHome::kIdentifier};
};

TEST_F(AgentUnderRealManager, MayChangeOwnersButGetsAnErrorForOtherPrivilegedCalls) {
  // A call that killed its process would give the status 159.
  const std::string statuses =
      statusesOf({": >file && chown $(id -u):$(id -g) file", "mount -t tmpfs none app", "renice -n 1 $$", "true"});
  EXPECT_THAT(statuses, testing::MatchesRegex("0\n([1-9]|[1-9][0-9])\n([1-9]|[1-9][0-9])\n0\n"));
}

TEST(AgentUnit, RestartsAfterADelayAndGivesUpAfterTenFailures) {
  const std::string unit = unitFor("/app/TarvelHelper").value_or("");
  for (const char* line :
       {"Restart=on-failure", "RestartSec=10s", "StartLimitIntervalSec=2min", "StartLimitBurst=10"}) {
    EXPECT_THAT(unit, HasSubstr("\n" + std::string(line) + "\n"));
  }
}

}  // namespace
}  // namespace tarvel
