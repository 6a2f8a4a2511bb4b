// Conformance of AgentService, for every implementation: in memory, on a desktop without a service manager, with a fake
// manager, and with a real one.

#include <gmock/gmock.h>

#include "platform/linux/service/linux_agent_service.h"
#include "platform/memory/memory_agent_service.h"
#include "tests/support/service_home.h"

namespace tarvel {
namespace {

using testing::HasSubstr;

template <bool hasManager>
struct MemoryKind {
  MemoryKind() { service.setHasManager(hasManager); }
  [[nodiscard]] std::string agent() {
    service.putProgram("/app/TarvelHelper");
    return "/app/TarvelHelper";
  }
  [[nodiscard]] std::string missing() const { return "/missing/TarvelHelper"; }
  [[nodiscard]] std::string impossible() const { return {}; }
  static constexpr LoginStart kBy = hasManager ? LoginStart::kServiceManager : LoginStart::kDesktop;

  MemoryAgentService service;
};

struct LinuxKind {
  [[nodiscard]] std::string agent() const { return home.agent(); }
  [[nodiscard]] std::string missing() const { return home.path("missing/TarvelHelper"); }

  ServiceHome home;
  LinuxAgentService service{ServiceHome::kIdentifier};
};

struct DesktopKind : LinuxKind {
  [[nodiscard]] std::string impossible() const { return {}; }
  static constexpr LoginStart kBy = LoginStart::kDesktop;
};

struct FakeManagerKind : LinuxKind {
  FakeManagerKind() { EXPECT_TRUE(home.startFakeManager()); }
  [[nodiscard]] std::string impossible() const { return {}; }
  static constexpr LoginStart kBy = LoginStart::kServiceManager;
};

struct RealManagerKind {
  [[nodiscard]] std::string agent() const { return home.agent(); }
  [[nodiscard]] std::string missing() const { return home.path("missing/TarvelHelper"); }
  /// Why there is no manager here; empty if there is one.
  [[nodiscard]] std::string impossible() const {
    EXPECT_TRUE(manager.isUp() || manager.isImpossible()) << manager.log();
    return manager.isImpossible() ? "no service manager can be run here: " + manager.log() : std::string();
  }
  static constexpr LoginStart kBy = LoginStart::kServiceManager;

  ServiceHome home;
  RealUserManager& manager = home.startRealManager();
  LinuxAgentService service{ServiceHome::kIdentifier};
};

template <typename Kind>
struct AgentServiceConformance : testing::Test, Kind {
  void SetUp() override {
    if (const std::string reason = this->impossible(); !reason.empty()) GTEST_SKIP() << reason;
  }
};
using AgentServiceKinds =
    testing::Types<MemoryKind<true>, MemoryKind<false>, DesktopKind, FakeManagerKind, RealManagerKind>;
TYPED_TEST_SUITE(AgentServiceConformance, AgentServiceKinds);

TYPED_TEST(AgentServiceConformance, InitiallyTheAgentIsStoppedAndDisabled) {
  EXPECT_FALSE(this->service.runningAgent());
  EXPECT_EQ(this->service.loginEntry().by, LoginStart::kNone);
  EXPECT_EQ(this->service.hasManager(), this->kBy == LoginStart::kServiceManager);
}

TYPED_TEST(AgentServiceConformance, EnablingTakesEffectAtTheNextLogin) {
  const ServiceAnswer answer = this->service.enable(this->agent());
  EXPECT_TRUE(answer.isDone) << answer.complaint;
  EXPECT_TRUE(answer.isChanged);
  EXPECT_EQ(this->service.loginEntry().by, this->kBy);
  EXPECT_EQ(this->service.loginEntry().program, this->agent());
  EXPECT_FALSE(this->service.loginEntry().file.empty());
  EXPECT_FALSE(this->service.runningAgent());
}

TYPED_TEST(AgentServiceConformance, EnablingTwiceChangesNothing) {
  ASSERT_TRUE(this->service.enable(this->agent()).isDone);
  const ServiceAnswer again = this->service.enable(this->agent());
  EXPECT_TRUE(again.isDone);
  EXPECT_FALSE(again.isChanged);
}

TYPED_TEST(AgentServiceConformance, AMissingProgramIsNeitherEnabledNorStarted) {
  for (const ServiceAnswer& answer : {this->service.enable(this->missing()), this->service.start(this->missing())}) {
    EXPECT_FALSE(answer.isDone);
    EXPECT_FALSE(answer.isChanged);
    EXPECT_THAT(answer.complaint, HasSubstr(this->missing()));
  }
  EXPECT_EQ(this->service.loginEntry().by, LoginStart::kNone);
  EXPECT_FALSE(this->service.runningAgent());
}

TYPED_TEST(AgentServiceConformance, DisablingTwiceChangesNothing) {
  ASSERT_TRUE(this->service.enable(this->agent()).isDone);
  const ServiceAnswer answer = this->service.disable();
  EXPECT_TRUE(answer.isDone) << answer.complaint;
  EXPECT_TRUE(answer.isChanged);
  EXPECT_EQ(this->service.loginEntry().by, LoginStart::kNone);
  const ServiceAnswer again = this->service.disable();
  EXPECT_TRUE(again.isDone);
  EXPECT_FALSE(again.isChanged);
}

TYPED_TEST(AgentServiceConformance, AnEnabledAgentStartsOnceAndStops) {
  ASSERT_TRUE(this->service.enable(this->agent()).isDone);
  const ServiceAnswer started = this->service.start(this->agent());
  EXPECT_TRUE(started.isDone) << started.complaint;
  EXPECT_TRUE(started.isChanged);
  EXPECT_GT(this->service.runningAgent().value_or(0), 0);
  EXPECT_FALSE(this->service.start(this->agent()).isChanged);
  const ServiceAnswer stopped = this->service.stop();
  EXPECT_TRUE(stopped.isDone) << stopped.complaint;
  EXPECT_TRUE(stopped.isChanged);
  EXPECT_FALSE(this->service.runningAgent());
  EXPECT_EQ(this->service.loginEntry().by, this->kBy);
  EXPECT_FALSE(this->service.stop().isChanged);
}

TYPED_TEST(AgentServiceConformance, AnAgentThatIsNotEnabledCanBeStartedAndStaysDisabled) {
  const ServiceAnswer started = this->service.start(this->agent());
  EXPECT_TRUE(started.isDone) << started.complaint;
  EXPECT_TRUE(this->service.runningAgent());
  EXPECT_EQ(this->service.loginEntry().by, LoginStart::kNone);
  EXPECT_TRUE(this->service.stop().isChanged);
  EXPECT_FALSE(this->service.runningAgent());
}

TYPED_TEST(AgentServiceConformance, DisablingDoesNotStopTheAgent) {
  ASSERT_TRUE(this->service.enable(this->agent()).isDone);
  ASSERT_TRUE(this->service.start(this->agent()).isDone);
  EXPECT_TRUE(this->service.disable().isDone);
  EXPECT_TRUE(this->service.runningAgent());
  EXPECT_TRUE(this->service.stop().isChanged);
  EXPECT_FALSE(this->service.runningAgent());
}

TYPED_TEST(AgentServiceConformance, StoppingAnAgentThatIsNotRunningSucceeds) {
  const ServiceAnswer answer = this->service.stop();
  EXPECT_TRUE(answer.isDone);
  EXPECT_FALSE(answer.isChanged);
}

}  // namespace
}  // namespace tarvel
