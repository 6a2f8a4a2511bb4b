// Launching real programs by path.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>

#include "platform/linux/base/unique_fd.h"
#include "tests/support/child_process.h"
#include "tests/support/launching_fixture.h"

namespace tarvel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
namespace fs = std::filesystem;

/// Launches with signals blocked and ignored, as the agent does.
bool launchWithSignalsHeld(Workspace& workspace, const std::string& path) {
  sigset_t mask;
  sigemptyset(&mask);
  sigaddset(&mask, SIGTERM);
  sigset_t before;
  ::pthread_sigmask(SIG_BLOCK, &mask, &before);
  const auto handler = std::signal(SIGPIPE, SIG_IGN);
  const bool isLaunched = workspace.launchApplication(path);
  (void)std::signal(SIGPIPE, handler);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return isLaunched;
}

TEST_F(Launching, AnExecutableRunsInANewSessionWithoutInheritedSignalsOrDescriptors) {
  // Without O_CLOEXEC, so only the launcher can close it.
  const UniqueFd left(::open("/dev/zero", O_RDONLY));  // NOLINT(android-cloexec-open)
  EXPECT_TRUE(launchWithSignalsHeld(workspace, program("recorder")));
  Notes one = waitForNotes();
  EXPECT_EQ(one.facts["session"], one.facts["pid"]);
  EXPECT_EQ(one.facts["SigBlk:"], "0000000000000000");
  // The two signals above 31 are the C library's own.
  EXPECT_EQ(std::stoull(one.facts["SigIgn:"], nullptr, 16) & 0x7FFFFFFF, 0U);
  EXPECT_THAT(one.descriptors, testing::UnorderedElementsAre("0 /dev/null", "1 /dev/null", "2 /dev/null"));
  EXPECT_EQ(one.facts["folder"], fs::canonical(directory.path()).string());
  EXPECT_THAT(one.arguments, ElementsAre(directory.path("recorder")));
}

TEST_F(Launching, TheAgentsServiceVariablesAreNotPassedOn) {
  const std::vector<const char*> own = {"NOTIFY_SOCKET", "WATCHDOG_USEC", "LISTEN_FDS", "INVOCATION_ID",
                                        "DBUS_STARTER_ADDRESS"};
  for (const char* name : own) ::setenv(name, "0", 1);
  EXPECT_TRUE(workspace.launchApplication(program("recorder")));
  for (const char* name : own) ::unsetenv(name);
  const Notes one = waitForNotes();
  for (const char* name : own) EXPECT_THAT(one.environment, Not(Contains(Key(name)))) << name;
  EXPECT_EQ(one.environment.at("HOME"), directory.path());
}

TEST_F(Launching, WithoutAHomeFolderAProgramStartsInTheRootFolder) {
  ::setenv("HOME", directory.path("missing").c_str(), 1);
  EXPECT_TRUE(workspace.launchApplication(program("recorder")));
  EXPECT_EQ(waitForNotes().facts.at("folder"), "/");
}

TEST_F(Launching, ABundleRunsTheExecutableItNames) {
  const std::string path = bundle("Main");
  program("Tarvel.app/Contents/Linux/Main");
  EXPECT_TRUE(workspace.launchApplication(path));
  EXPECT_THAT(waitForNotes().arguments, ElementsAre(path + "/Contents/Linux/Main"));
}

TEST_F(Launching, ABundleCannotNameAProgramOutsideItself) {
  program("outside");
  EXPECT_FALSE(workspace.launchApplication(bundle("../../../outside")));
  EXPECT_FALSE(workspace.launchApplication(bundle(directory.path("outside"))));
  EXPECT_FALSE(workspace.launchApplication(bundle("..")));
  EXPECT_FALSE(workspace.launchApplication(bundle(".")));
  EXPECT_FALSE(workspace.launchApplication(bundle("")));
}

TEST_F(Launching, ABundleWithoutItsExecutableIsNotLaunched) {
  const std::string path = bundle("Main");
  EXPECT_FALSE(workspace.launchApplication(path));
  directory.write("Tarvel.app/Contents/Linux/Main", "not executable");
  EXPECT_FALSE(workspace.launchApplication(path));
  fs::remove(path + "/Contents/Linux/Main");
  fs::create_directory(path + "/Contents/Linux/Main");
  EXPECT_FALSE(workspace.launchApplication(path));
}

TEST_F(Launching, SpecialCharactersInPathsAreTakenLiterally) {
  const std::string name = "a b/$HOME %n 'q' \"ü\" \\x \xFF";
  EXPECT_TRUE(workspace.launchApplication(program(name)));
  EXPECT_THAT(waitForNotes().arguments, ElementsAre(directory.path(name)));
}

TEST_F(Launching, FilesThatCannotBeExecutedAreNotLaunched) {
  directory.write("text", "no program");
  directory.write("garbage", "no program either");
  fs::permissions(directory.path("garbage"), fs::perms::owner_all);
  directory.write("interpreted", "#!/nowhere/interpreter\n");
  fs::permissions(directory.path("interpreted"), fs::perms::owner_all);
  fs::create_directory(directory.path("folder"));
  ASSERT_EQ(::mkfifo(directory.path("pipe.desktop").c_str(), 0600), 0);
  for (const char* name : {"missing", "text", "garbage", "interpreted", "folder", "pipe.desktop", "text/below"}) {
    EXPECT_FALSE(workspace.launchApplication(directory.path(name))) << name;
  }
  EXPECT_FALSE(workspace.launchApplication(""));
  EXPECT_FALSE(workspace.launchApplication(std::string("/bin/true\0x", 11)));
}

TEST_F(Launching, AProgramWithoutExecutePermissionIsNotLaunched) {
  const std::string path = program("recorder");
  fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_exec);
  fs::permissions(directory.path(), fs::perms::all);
  const int answer = inChildWithoutPrivileges([&] { return workspace.launchApplication(path) ? 1 : 0; });
  EXPECT_EQ(answer, 0);
  EXPECT_THAT(notes(), IsEmpty());
}

TEST_F(Launching, AnExitedProgramIsReaped) {
  ASSERT_FALSE(hasChildren());
  EXPECT_TRUE(workspace.launchApplication("/bin/true"));
  EXPECT_TRUE(workspace.launchApplication("/bin/false"));
  EXPECT_TRUE(hasChildren());
  EXPECT_TRUE(turnUntil([] { return !hasChildren(); }));
}

TEST_F(Launching, AProgramOutlivesTheProcessThatLaunchedIt) {
  const std::string path = program("recorder");
  const int answer = inChild([&] {
    PlistSerialization lists;
    LinuxWorkspace child(lists, nullptr);
    return child.launchApplication(path) ? 0 : 1;
  });
  ASSERT_EQ(answer, 0);
  const Notes one = waitForNotes();
  EXPECT_EQ(::kill(std::stoi(one.facts.at("pid")), 0), 0);
}

}  // namespace
}  // namespace tarvel
