// Programs that are really launched.

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <thread>

#include "platform/linux/desktop_entry.h"
#include "platform/linux/linux_workspace.h"
#include "platform/linux/process_spawning.h"
#include "platform/linux/unique_fd.h"
#include "platform/plist/serialization.h"
#include "tests/support/child_process.h"
#include "tests/support/linux_stream.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

struct Notes {
  std::map<std::string, std::string> facts;
  std::vector<std::string> arguments;
  std::vector<std::string> descriptors;
};

struct Launching : testing::Test, RealLoop {
  Launching() {
    ::setenv("TARVEL_RECORD", directory.path().c_str(), 1);
    ::setenv("HOME", directory.path().c_str(), 1);
    ::setenv("XDG_DATA_HOME", directory.path("data").c_str(), 1);
    ::setenv("XDG_RUNTIME_DIR", directory.path().c_str(), 1);
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  }
  ~Launching() override {
    directory.write("quit", "");
    for (const Notes& one : notes()) {
      const std::string process = "/proc/" + one.facts.at("pid");
      (void)turnUntil(
          [&] { return !fs::exists(process + "/exe") || fs::read_symlink(process + "/exe", error).empty(); });
    }
    for (const char* name : {"TARVEL_RECORD", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"}) ::unsetenv(name);
  }

  [[nodiscard]] std::vector<Notes> notes() const {
    std::vector<Notes> all;
    for (const auto& entry : fs::directory_iterator(directory.path())) {
      if (entry.path().extension() != ".notes") continue;
      Notes one;
      std::ifstream file(entry.path());
      for (std::string line; std::getline(file, line);) {
        const std::size_t space = line.find_first_of(" \t");
        const std::string name = line.substr(0, space);
        const std::string value = line.substr(line.find_first_not_of(" \t", space));
        if (name == "argument") {
          one.arguments.push_back(value);
        } else if (name == "descriptor") {
          one.descriptors.push_back(value);
        } else {
          one.facts[name] = value;
        }
      }
      all.push_back(std::move(one));
    }
    return all;
  }
  [[nodiscard]] Notes waitForNotes() {
    EXPECT_TRUE(turnUntil([this] { return !notes().empty(); }));
    return notes().empty() ? Notes() : notes().front();
  }

  /// The recorder under a name of its own.
  std::string program(const std::string& name) {
    fs::create_directories(fs::path(directory.path(name)).parent_path());
    fs::copy_file(TARVEL_LAUNCH_RECORDER, directory.path(name));
    return directory.path(name);
  }
  std::string bundle(const std::string& executable) {
    fs::create_directories(directory.path("Tarvel.app/Contents/Linux"));
    directory.write("Tarvel.app/Contents/Info.plist",
                    "<plist><dict><key>CFBundleExecutable</key><string>" + executable + "</string></dict></plist>");
    return directory.path("Tarvel.app");
  }

  TemporaryDirectory directory;
  std::error_code error;
  PlistSerialization serialization;
  LinuxWorkspace workspace{serialization, loop.get()};
};

TEST_F(Launching, AnExecutableRunsInASessionOfItsOwnWithNothingOfTheLauncherLeftOnIt) {
  sigset_t mask;
  sigemptyset(&mask);
  sigaddset(&mask, SIGTERM);
  sigset_t before;
  ::pthread_sigmask(SIG_BLOCK, &mask, &before);
  const auto handler = std::signal(SIGPIPE, SIG_IGN);
  ::setenv("NOTIFY_SOCKET", "/nowhere", 1);
  EXPECT_TRUE(workspace.launchApplication(program("recorder")));
  ::unsetenv("NOTIFY_SOCKET");
  (void)std::signal(SIGPIPE, handler);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  Notes one = waitForNotes();
  EXPECT_EQ(one.facts["session"], one.facts["pid"]);
  EXPECT_EQ(one.facts["SigBlk:"], "0000000000000000");
  // The two signals above 31 are the C library's own.
  EXPECT_EQ(std::stoull(one.facts["SigIgn:"], nullptr, 16) & 0x7FFFFFFF, 0U);
  EXPECT_THAT(one.descriptors, testing::UnorderedElementsAre("0 /dev/null", "1 /dev/null", "2 /dev/null"));
  EXPECT_EQ(one.facts["folder"], fs::canonical(directory.path()).string());
  EXPECT_EQ(one.facts["hasNotifySocket"], "0");
  EXPECT_THAT(one.arguments, ElementsAre(directory.path("recorder")));
}

TEST_F(Launching, ABundlesExecutableIsTheOneItNames) {
  const std::string path = bundle("Main");
  program("Tarvel.app/Contents/Linux/Main");
  EXPECT_TRUE(workspace.launchApplication(path));
  EXPECT_THAT(waitForNotes().arguments, ElementsAre(path + "/Contents/Linux/Main"));
}

TEST_F(Launching, ABundleCannotNameAProgramOutsideOfItself) {
  program("outside");
  EXPECT_FALSE(workspace.launchApplication(bundle("../../../outside")));
  EXPECT_FALSE(workspace.launchApplication(bundle("..")));
  EXPECT_FALSE(workspace.launchApplication(bundle("")));
}

TEST_F(Launching, PathsOfAnyCharactersAreTakenAsTheyAre) {
  const std::string name = "a b/$HOME %n 'q' \"ü\" \\x";
  EXPECT_TRUE(workspace.launchApplication(program(name)));
  EXPECT_THAT(waitForNotes().arguments, ElementsAre(directory.path(name)));
}

TEST_F(Launching, ADesktopFileIsLaunchedByItsLine) {
  const std::string path = program("recorder");
  directory.write("some.desktop", "[Desktop Entry]\nType=Application\nName=x\nExec=\"" + path +
                                      "\" --flag \"two words\" %U 100%% plain\n[Other]\nExec=/bin/false\n");
  EXPECT_TRUE(workspace.launchApplication(directory.path("some.desktop")));
  EXPECT_THAT(waitForNotes().arguments, ElementsAre(path, "--flag", "two words", "100%", "plain"));
}

TEST_F(Launching, WhatCannotBeExecutedIsNotLaunched) {
  directory.write("text", "no program");
  directory.write("garbage", "no program either");
  fs::permissions(directory.path("garbage"), fs::perms::owner_all);
  directory.write("broken.desktop", "[Desktop Entry]\nType=Application\nExec=\"/bin/true\n");
  directory.write("link.desktop", "[Desktop Entry]\nType=Link\nExec=/bin/true\n");
  directory.write("hidden.desktop", "[Desktop Entry]\nType=Application\nHidden=true\nExec=/bin/true\n");
  directory.write("needs.desktop", "[Desktop Entry]\nType=Application\nTryExec=/nowhere/x\nExec=/bin/true\n");
  directory.write("empty.desktop", "");
  fs::create_directory(directory.path("folder"));
  for (const char* name : {"", "missing", "text", "garbage", "broken.desktop", "link.desktop", "hidden.desktop",
                           "needs.desktop", "empty.desktop", "folder"}) {
    EXPECT_FALSE(workspace.launchApplication(*name == '\0' ? "" : directory.path(name))) << name;
  }
  EXPECT_FALSE(workspace.launchApplication(std::string("/bin/true\0x", 11)));
}

TEST_F(Launching, AProgramThatEndsIsWaitedFor) {
  EXPECT_TRUE(workspace.launchApplication("/bin/true"));
  // No child is left, not even a dead one.
  EXPECT_TRUE(turnUntil([] { return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }));
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

TEST_F(Launching, WithoutABusOrAManagerNothingIsOfferedAndTheIdentifierLeadsToADesktopFile) {
  EXPECT_FALSE(workspace.offersLaunchApplicationAtUrl());
  EXPECT_FALSE(workspace.launchApplicationAtUrlOptions("/bin/true", kWorkspaceLaunchDefault));
  EXPECT_FALSE(workspace.launchAppWithBundleIdentifierOptions("org.tarvel.Test", kWorkspaceLaunchDefault));
  const std::string path = program("recorder");
  fs::create_directories(directory.path("data/applications"));
  directory.write("data/applications/org.tarvel.Test.desktop",
                  "[Desktop Entry]\nType=Application\nExec=" + path + " by-identifier\n");
  EXPECT_TRUE(workspace.launchAppWithBundleIdentifierOptions("org.tarvel.Test", kWorkspaceLaunchDefault));
  EXPECT_THAT(waitForNotes().arguments, ElementsAre(path, "by-identifier"));
}

TEST_F(Launching, AnIdentifierLeadsOutOfNoFolder) {
  EXPECT_FALSE(workspace.launchAppWithBundleIdentifierOptions("", kWorkspaceLaunchDefault));
  EXPECT_FALSE(workspace.launchAppWithBundleIdentifierOptions("../x", kWorkspaceLaunchDefault));
  EXPECT_FALSE(workspace.launchAppWithBundleIdentifierOptions("not a name", kWorkspaceLaunchDefault));
}

TEST_F(Launching, AnApplicationThatTheBusKnowsIsStartedByIt) {
  SessionBus bus;
  bus.addService("org.tarvel.Test", program("recorder") + " by-bus");
  bus.start();
  ASSERT_TRUE(bus.isUp());
  // The recorder never answers; that it was started is seen from its notes.
  (void)workspace.launchAppWithBundleIdentifierOptions("org.tarvel.Test", kWorkspaceLaunchDefault);
  EXPECT_EQ(waitForNotes().arguments.back(), "by-bus");
}

TEST_F(Launching, ABusWithoutAManagerOffersNothingAndKnowsNoStranger) {
  SessionBus bus;
  bus.start();
  ASSERT_TRUE(bus.isUp());
  EXPECT_FALSE(workspace.offersLaunchApplicationAtUrl());
  EXPECT_FALSE(workspace.launchAppWithBundleIdentifierOptions("org.tarvel.Stranger", kWorkspaceLaunchDefault));
}

/// What the stand-in for the manager wrote down.
std::map<std::string, std::string> unitIn(const TemporaryDirectory& directory) {
  std::map<std::string, std::string> unit;
  std::ifstream file(directory.path("unit"));
  for (std::string line; std::getline(file, line);)
    unit[line.substr(0, line.find(' '))] = line.substr(line.find(' ') + 1);
  return unit;
}

TEST_F(Launching, AManagerIsAskedForAUnitThatOutlivesTheAgentAndTakesEveryWordAsItIs) {
  SessionBus bus;
  bus.addService("org.freedesktop.systemd1", TARVEL_FAKE_USER_MANAGER);
  bus.start();
  ASSERT_TRUE(bus.isUp());
  ASSERT_TRUE(bus.activate("org.freedesktop.systemd1"));
  EXPECT_TRUE(workspace.offersLaunchApplicationAtUrl());
  const std::string path = program("a b/$HOME %n recorder");
  EXPECT_TRUE(workspace.launchApplicationAtUrlOptions(path, kWorkspaceLaunchDefault));
  EXPECT_THAT(waitForNotes().arguments, ElementsAre(path));
  auto unit = unitIn(directory);
  EXPECT_TRUE(unit["name"].starts_with("app-org.tarvel.Tarvel-") && unit["name"].ends_with(".service"));
  EXPECT_EQ(unit["mode"], "fail");
  EXPECT_EQ(unit["Type"], "s exec");
  EXPECT_EQ(unit["ExitType"], "s cgroup");
  EXPECT_EQ(unit["Slice"], "s app.slice");
  EXPECT_EQ(unit["CollectMode"], "s inactive-or-failed");
  EXPECT_EQ(unit["ExecStartEx"], "a(sasas) " + path + "|no-env-expand|");
  EXPECT_EQ(unit["WorkingDirectory"], "s " + directory.path());
  EXPECT_THAT(unit["Environment"], testing::HasSubstr("DBUS_SESSION_BUS_ADDRESS=unix:path="));
}

TEST_F(Launching, AUnitThatTheManagerCouldNotExecuteIsNoLaunch) {
  SessionBus bus;
  bus.addService("org.freedesktop.systemd1", std::string(TARVEL_FAKE_USER_MANAGER) + " failed");
  bus.start();
  ASSERT_TRUE(bus.isUp());
  ASSERT_TRUE(bus.activate("org.freedesktop.systemd1"));
  EXPECT_FALSE(workspace.launchApplicationAtUrlOptions(program("recorder"), kWorkspaceLaunchDefault));
  EXPECT_THAT(notes(), IsEmpty());
}

TEST_F(Launching, ABusThatNeverAnswersIsGivenUp) {
  const UniqueFd listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = directory.path("bus");
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  ASSERT_EQ(::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);  // NOLINT
  ASSERT_EQ(::listen(listener.get(), 8), 0);
  ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(workspace.offersLaunchApplicationAtUrl());
  EXPECT_FALSE(workspace.launchAppWithBundleIdentifierOptions("org.tarvel.Test", kWorkspaceLaunchDefault));
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
}

TEST(DesktopEntry, AnExecLineIsTakenApartByItsQuotesAndCodes) {
  EXPECT_THAT(wordsOfExecLine("a b  c"), ElementsAre("a", "b", "c"));
  EXPECT_THAT(wordsOfExecLine("\"a b\" c\"d e\""), ElementsAre("a b", "cd e"));
  EXPECT_THAT(wordsOfExecLine("a \"\" b"), ElementsAre("a", "", "b"));
  EXPECT_THAT(wordsOfExecLine("a \"x \\\"y\\\" \\$z\""), ElementsAre("a", "x \"y\" $z"));
  EXPECT_THAT(wordsOfExecLine("a %f %F %u %% %i%c"), ElementsAre("a", "%"));
  EXPECT_THAT(wordsOfExecLine("a \"open"), IsEmpty());
  EXPECT_THAT(wordsOfExecLine(""), IsEmpty());
}

}  // namespace
}  // namespace tarvel
