// Applications that are launched by their identifier: over a real session bus, or by a desktop file.

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <csignal>

#include "platform/linux/base/unique_fd.h"
#include "tests/support/launching_fixture.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::SizeIs;
using Clock = std::chrono::steady_clock;

constexpr const char* kIdentifier = "org.tarvel.Test";

struct BusLaunching : Launching {
  [[nodiscard]] bool launch(std::string_view identifier = kIdentifier) {
    return workspace.launchAppWithBundleIdentifierOptions(identifier, kWorkspaceLaunchDefault);
  }

  void startBus(const std::string& service) {
    if (!service.empty()) bus.addService(kIdentifier, service);
    bus.start();
    ASSERT_TRUE(bus.isUp());
  }

  /// A desktop file that runs the recorder.
  void addDesktopFile(const std::string& folder = "data") {
    writeDesktopFile(folder + "/applications/org.tarvel.Test.desktop", "Exec=" + program("recorder") + " by-file\n");
  }

  SessionBus bus;
};

// The first tests have no desktop file, so only the bus can launch the application.

TEST_F(BusLaunching, ABusActivatableApplicationIsStartedAndActivated) {
  startBus(TARVEL_FAKE_APPLICATION);
  EXPECT_TRUE(launch());
  EXPECT_EQ(linesOf("activated")["times"], "1");
}

TEST_F(BusLaunching, ARunningApplicationIsActivatedAndNotStartedAgain) {
  startBus(TARVEL_FAKE_APPLICATION);
  EXPECT_TRUE(launch());
  const std::string first = linesOf("activated")["pid"];
  EXPECT_TRUE(launch());
  EXPECT_EQ(linesOf("activated")["times"], "2");
  EXPECT_EQ(linesOf("activated")["pid"], first);
}

TEST_F(BusLaunching, AProgramWithoutTheInterfaceStillCountsAsLaunched) {
  startBus(std::string(TARVEL_FAKE_APPLICATION) + " plain");
  EXPECT_TRUE(launch());
}

TEST_F(BusLaunching, AProgramThatExitsWithoutReplyingCountsAsLaunched) {
  startBus(std::string(TARVEL_FAKE_APPLICATION) + " brief");
  EXPECT_TRUE(launch());
  EXPECT_EQ(linesOf("activated")["times"], "1");
}

TEST_F(BusLaunching, AnApplicationThatNeverRepliesCountsAsLaunched) {
  startBus(std::string(TARVEL_FAKE_APPLICATION) + " mute");
  const auto start = Clock::now();
  EXPECT_TRUE(launch());
  EXPECT_LT(Clock::now() - start, kTooLong);
  EXPECT_EQ(linesOf("activated")["times"], "1");
}

TEST_F(BusLaunching, AProgramThatIsSlowToAcquireItsNameCountsAsLaunched) {
  startBus(program("recorder") + " by-bus");
  const auto start = Clock::now();
  EXPECT_TRUE(launch());
  EXPECT_LT(Clock::now() - start, kTooLong);
  EXPECT_EQ(waitForNotes().arguments.back(), "by-bus");
}

TEST_F(BusLaunching, AFailedBusActivationFallsBackToTheDesktopFile) {
  addDesktopFile();
  startBus("/nowhere/program");
  EXPECT_TRUE(launch());
  EXPECT_THAT(waitForNotes().arguments, ElementsAre(directory.path("recorder"), "by-file"));
}

TEST_F(BusLaunching, AnUnknownBusNameFallsBackToTheDesktopFile) {
  addDesktopFile();
  startBus("");
  EXPECT_TRUE(launch());
  EXPECT_THAT(waitForNotes().arguments, ElementsAre(directory.path("recorder"), "by-file"));
}

TEST_F(BusLaunching, AnUnknownIdentifierIsNotLaunched) {
  startBus("");
  EXPECT_FALSE(launch());
}

TEST_F(BusLaunching, WithoutABusTheDesktopFileIsUsedImmediately) {
  const auto start = Clock::now();
  EXPECT_FALSE(launch());
  addDesktopFile();
  EXPECT_TRUE(launch());
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(1));
  EXPECT_THAT(waitForNotes().arguments, ElementsAre(directory.path("recorder"), "by-file"));
}

TEST_F(BusLaunching, TheUsersDesktopFileOverridesTheSystems) {
  ::setenv("XDG_DATA_DIRS", ("relative:" + directory.path("one") + ":" + directory.path("two")).c_str(), 1);
  addDesktopFile("two");
  EXPECT_TRUE(launch());
  EXPECT_THAT(waitForNotes().arguments.back(), "by-file");
  writeDesktopFile("one/applications/org.tarvel.Test.desktop", "Exec=/nowhere/one\n");
  EXPECT_FALSE(launch());
  // The user hides an application of the system.
  addDesktopFile("one");
  writeDesktopFile("data/applications/org.tarvel.Test.desktop", "Exec=/bin/true\nHidden=true\n");
  EXPECT_FALSE(launch());
  EXPECT_THAT(notes(), SizeIs(1));
}

TEST_F(BusLaunching, AnIdentifierThatIsAPathOrUniqueNameIsRejected) {
  startBus("");
  addDesktopFile();
  for (const char* identifier : {"", ".", "..", "../x", "../applications/org.tarvel.Test", "not a name", ":1.0"}) {
    EXPECT_FALSE(launch(identifier)) << identifier;
  }
  EXPECT_FALSE(launch(std::string_view("org.tarvel.Test\0x", 17)));
}

/// A socket that accepts every connection and never replies.
UniqueFd listenSilently(const std::string& path) {
  UniqueFd listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  EXPECT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  EXPECT_EQ(::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);  // NOLINT
  EXPECT_EQ(::listen(listener.get(), 8), 0);
  return listener;
}

TEST_F(BusLaunching, AnUnresponsiveBusFallsBackToTheDesktopFile) {
  const UniqueFd listener = listenSilently(directory.path("silent"));
  ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + directory.path("silent")).c_str(), 1);
  addDesktopFile();
  const auto start = Clock::now();
  EXPECT_TRUE(launch());
  EXPECT_LT(Clock::now() - start, kTooLong);
  EXPECT_THAT(waitForNotes().arguments.back(), "by-file");
}

TEST_F(BusLaunching, AnUnresponsiveBusAndManagerOfferNoLaunchByUrl) {
  std::filesystem::create_directory(directory.path("systemd"));
  const UniqueFd manager = listenSilently(directory.path("systemd/private"));
  const UniqueFd listener = listenSilently(directory.path("bus"));
  const auto start = Clock::now();
  EXPECT_FALSE(workspace.offersLaunchApplicationAtUrl());
  EXPECT_FALSE(workspace.launchApplicationAtUrlOptions("/bin/true", kWorkspaceLaunchDefault));
  EXPECT_LT(Clock::now() - start, kTooLong);
}

TEST_F(BusLaunching, AFrozenBusTimesOut) {
  startBus(TARVEL_FAKE_APPLICATION);
  EXPECT_TRUE(launch());
  bus.freeze();
  const auto start = Clock::now();
  EXPECT_FALSE(launch());
  EXPECT_LT(Clock::now() - start, kTooLong);
  bus.thaw();
}

TEST_F(BusLaunching, ABusThatFreezesAfterTheRequestTimesOut) {
  startBus(std::string(TARVEL_FAKE_APPLICATION) + " freezing");
  const auto start = Clock::now();
  EXPECT_FALSE(launch());
  EXPECT_LT(Clock::now() - start, kTooLong);
  EXPECT_EQ(linesOf("activated")["times"], "1");
  bus.thaw();
}

}  // namespace
}  // namespace tarvel
