// What every updater promises.

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>

#include "platform/linux/linux_updater.h"
#include "platform/memory/memory_bundles.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/memory/memory_updater.h"
#include "tests/support/linux_stream.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

constexpr const char* kBundle = "/A/Main.app";
constexpr const char* kDomain = "org.tarvel.Test";

class RecordingDelegate final : public UpdaterDelegate {
 public:
  void updaterDidFindValidUpdate(Updater& /*updater*/, const UpdateItem& update) override {
    found.push_back(update.versionString);
  }
  [[nodiscard]] bool updaterShouldPromptForPermissionToCheckForUpdates(Updater& /*updater*/) override {
    ++questions;
    return false;
  }

  std::vector<std::string> found;
  int questions = 0;
};

struct MemoryUpdaterKind {
  MemoryUpdaters updaters;
  MemoryUpdater& scripted = updaters.at(kBundle);

  void offer(const std::string& version) { offered = version; }
  void want(bool checks, double interval) {
    scripted.setAutomaticallyChecks(checks);
    scripted.setInterval(interval);
  }
  void remember(const Date& date) { scripted.setLastCheckDate(date); }
  /// The check that is under way ends.
  void finishCheck() {
    if (!offered.empty()) scripted.reportUpdate(offered);
  }
  [[nodiscard]] std::size_t checkCount() const { return scripted.checks(); }

  std::string offered;
};

/// With a program of a few lines in the checker's place, which is really executed.
struct LinuxUpdaterKind {
  LinuxUpdaterKind() {
    MemoryBundle& bundle = bundles.at(kBundle);
    bundle.setInfo("CFBundleIdentifier", kDomain);
    bundle.setInfo("CFBundleShortVersionString", "1.0");
    bundle.setInfo("SUFeedURL", "https://updates.example/feed");
    script("exit 1");
  }

  void script(const std::string& body) const {
    const std::string path = directory.path("checker");
    fs::remove(path);
    directory.write("checker", "#!/bin/sh\necho \"$@\" >> \"" + directory.path("calls") + "\"\n" + body + "\n");
    fs::permissions(path, fs::perms::owner_all);
  }
  void offer(const std::string& version) const { script("echo " + version); }
  void want(bool checks, double interval) {
    preferences.setBoolean("SUEnableAutomaticChecks", checks, kDomain);
    preferences.setInteger("SUScheduledCheckInterval", static_cast<std::int64_t>(interval), kDomain);
  }
  void remember(const Date& date) {
    const auto tree = std::make_shared<PropertyListTree>();
    preferences.setFlushedValue("SULastCheckTime",
                                {tree, tree->makeDate(static_cast<double>(date.seconds) - 978307200)}, kDomain);
  }
  void finishCheck() {
    // Until the program was executed and waited for.
    const std::size_t calls = checkCount();
    (void)real.turnUntil([&] { return checkCount() > 0 && checkCount() >= calls && isIdle(); });
  }
  [[nodiscard]] bool isIdle() const { return !fs::exists("/proc/self/task") || children().empty(); }
  [[nodiscard]] static std::string children() {
    std::ifstream file("/proc/self/task/" + std::to_string(::getpid()) + "/children");
    std::string text;
    std::getline(file, text);
    return text;
  }
  [[nodiscard]] std::size_t checkCount() const {
    std::ifstream file(directory.path("calls"));
    std::size_t count = 0;
    for (std::string line; std::getline(file, line);) ++count;
    return count;
  }

  TemporaryDirectory directory;
  RealLoop real;
  MemoryBundles bundles;
  MemoryPreferencesStore preferences;
  LinuxUpdaters updaters{{*real.loop, preferences, bundles, directory.path("checker")}};
};

template <typename Kind>
struct UpdaterConformance : testing::Test, Kind {
  Updater& updater = this->updaters.updaterForBundle(kBundle);
  RecordingDelegate delegate;

  void check() {
    updater.setDelegate(&delegate);
    updater.checkForUpdateInformation();
    this->finishCheck();
  }
};

using Kinds = testing::Types<MemoryUpdaterKind, LinuxUpdaterKind>;
TYPED_TEST_SUITE(UpdaterConformance, Kinds);

TYPED_TEST(UpdaterConformance, ABundleHasOneUpdater) {
  EXPECT_EQ(&this->updaters.updaterForBundle(kBundle), &this->updater);
  EXPECT_NE(&this->updaters.updaterForBundle("/B/Other.app"), &this->updater);
}

TYPED_TEST(UpdaterConformance, NobodyIsAskedForUpdatesUnlessSomebodySaidSo) {
  EXPECT_FALSE(this->updater.automaticallyChecksForUpdates());
}

TYPED_TEST(UpdaterConformance, TheUsersChoicesAreRead) {
  this->want(true, 7200);
  EXPECT_TRUE(this->updater.automaticallyChecksForUpdates());
  EXPECT_EQ(this->updater.updateCheckInterval(), 7200);
  this->want(false, 7200);
  EXPECT_FALSE(this->updater.automaticallyChecksForUpdates());
}

TYPED_TEST(UpdaterConformance, TheLastCheckIsADateOrNone) {
  EXPECT_EQ(this->updater.lastUpdateCheckDate(), std::nullopt);
  this->remember({1'600'000'000, 0});
  EXPECT_EQ(this->updater.lastUpdateCheckDate(), (Date{1'600'000'000, 0}));
}

TYPED_TEST(UpdaterConformance, AnUpdateIsToldToTheDelegate) {
  this->offer("2.0");
  this->check();
  EXPECT_THAT(this->delegate.found, ElementsAre("2.0"));
  EXPECT_EQ(this->delegate.questions, 0);
}

TYPED_TEST(UpdaterConformance, ACheckThatFindsNothingIsSilent) {
  this->check();
  EXPECT_THAT(this->delegate.found, IsEmpty());
  EXPECT_EQ(this->checkCount(), 1U);
}

TYPED_TEST(UpdaterConformance, WithoutADelegateACheckIsMadeAndNobodyHearsOfIt) {
  this->offer("2.0");
  this->updater.setDelegate(nullptr);
  this->updater.checkForUpdateInformation();
  this->finishCheck();
  EXPECT_EQ(this->checkCount(), 1U);
}

TYPED_TEST(UpdaterConformance, OneCheckFollowsAnother) {
  this->offer("2.0");
  this->check();
  this->check();
  EXPECT_THAT(this->delegate.found, ElementsAre("2.0", "2.0"));
}

// What only the real one can show.

struct LinuxUpdaterTest : UpdaterConformance<LinuxUpdaterKind> {};

TEST_F(LinuxUpdaterTest, WithoutAFeedNobodyIsAsked) {
  want(true, 7200);
  bundles.at("/B/Other.app").setInfo("CFBundleIdentifier", kDomain);
  EXPECT_FALSE(updaters.updaterForBundle("/B/Other.app").automaticallyChecksForUpdates());
  EXPECT_FALSE(updaters.updaterForBundle("/C/Missing.app").automaticallyChecksForUpdates());
}

TEST_F(LinuxUpdaterTest, AnIntervalOfNothingIsOffAndAShortOneAMinute) {
  want(true, 0);
  EXPECT_FALSE(updater.automaticallyChecksForUpdates());
  want(true, -5);
  EXPECT_FALSE(updater.automaticallyChecksForUpdates());
  want(true, 1);
  EXPECT_TRUE(updater.automaticallyChecksForUpdates());
  EXPECT_EQ(updater.updateCheckInterval(), 60);
}

TEST_F(LinuxUpdaterTest, AnIntervalThatIsMissingOrNoNumberIsADay) {
  preferences.setBoolean("SUEnableAutomaticChecks", true, kDomain);
  EXPECT_EQ(updater.updateCheckInterval(), 86400);
  preferences.setString("SUScheduledCheckInterval", "often", kDomain);
  EXPECT_EQ(updater.updateCheckInterval(), 86400);
  const auto tree = std::make_shared<PropertyListTree>();
  preferences.setFlushedValue("SUScheduledCheckInterval", {tree, tree->makeReal(90.5)}, kDomain);
  EXPECT_EQ(updater.updateCheckInterval(), 90.5);
  preferences.setFlushedValue("SUScheduledCheckInterval", {tree, tree->makeReal(std::nan(""))}, kDomain);
  EXPECT_FALSE(updater.automaticallyChecksForUpdates());
}

TEST_F(LinuxUpdaterTest, TheCheckerIsToldTheFeedTheVersionAndWhatToSkip) {
  check();
  EXPECT_EQ(directory.read("calls"), "--feed https://updates.example/feed --current 1.0\n");
  preferences.setString("SUSkippedVersion", "1.5", kDomain);
  check();
  EXPECT_TRUE(directory.read("calls").ends_with("--current 1.0 --skipped 1.5\n"));
}

TEST_F(LinuxUpdaterTest, ACheckIsRememberedOnTheDisk) {
  check();
  const PropertyList date = preferences.flushedValue("SULastCheckTime", kDomain);
  ASSERT_TRUE(date.root.date());
  EXPECT_NEAR(static_cast<double>(updater.lastUpdateCheckDate().value_or(Date{}).seconds),
              static_cast<double>(std::time(nullptr)), 60);
}

TEST_F(LinuxUpdaterTest, EveryFaultIsSilence) {
  for (const char* body : {"exit 2", "echo 2.0; exit 2", "echo 2.0; kill -9 $$", "exit 0", "echo; echo 2.0",
                           "head -c 100000 /dev/zero | tr '\\0' x"}) {
    script(body);
    check();
    EXPECT_THAT(delegate.found, IsEmpty()) << body;
  }
  fs::remove(directory.path("checker"));
  updater.checkForUpdateInformation();
  EXPECT_THAT(delegate.found, IsEmpty());
}

TEST_F(LinuxUpdaterTest, OneCheckRunsAtATime) {
  script("while [ ! -e \"" + directory.path("go") + "\" ]; do sleep 0.01; done; echo 2.0");
  updater.setDelegate(&delegate);
  updater.checkForUpdateInformation();
  updater.checkForUpdateInformation();
  EXPECT_TRUE(real.turnUntil([this] { return checkCount() == 1; }));
  updater.checkForUpdateInformation();
  directory.write("go", "");
  finishCheck();
  EXPECT_EQ(checkCount(), 1U);
  EXPECT_THAT(delegate.found, ElementsAre("2.0"));
}

TEST_F(LinuxUpdaterTest, AnUpdaterThatGoesTakesItsCheckWithIt) {
  {
    LinuxUpdaters others({*real.loop, preferences, bundles, directory.path("checker")});
    script("sleep 600");
    others.updaterForBundle(kBundle).checkForUpdateInformation();
    EXPECT_NE(children(), "");
  }
  EXPECT_EQ(children(), "");
}

}  // namespace
}  // namespace tarvel
