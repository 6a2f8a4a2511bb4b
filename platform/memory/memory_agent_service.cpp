#include "platform/memory/memory_agent_service.h"

namespace tarvel {

namespace {

constexpr int kProcess = 4711;

}  // namespace

std::string MemoryAgentService::complaintAbout(const std::string& program) const {
  if (!complaint_.empty()) return complaint_;
  return programs_.contains(program) ? std::string() : "There is no agent at “" + program + "”.";
}

ServiceAnswer MemoryAgentService::enable(const std::string& program) {
  requests_.push_back("enable " + program);
  if (const std::string complaint = complaintAbout(program); !complaint.empty()) return {false, false, complaint};
  const LoginStart by = hasManager_ ? LoginStart::kServiceManager : LoginStart::kDesktop;
  const bool isSo = entry_.by == by && entry_.program == program;
  entry_ = {by, hasManager_ ? "/config/systemd/user/TarvelHelper.service" : "/config/autostart/agent.desktop", program};
  return {true, !isSo, {}};
}

ServiceAnswer MemoryAgentService::disable() {
  requests_.emplace_back("disable");
  if (!complaint_.empty()) return {false, false, complaint_};
  const bool wasEnabled = entry_.by != LoginStart::kNone;
  entry_ = {};
  return {true, wasEnabled, {}};
}

ServiceAnswer MemoryAgentService::start(const std::string& program) {
  requests_.push_back("start " + program);
  if (process_) return {true, false, {}};
  if (const std::string complaint = complaintAbout(program); !complaint.empty()) return {false, false, complaint};
  process_ = kProcess;
  return {true, true, {}};
}

ServiceAnswer MemoryAgentService::stop() {
  requests_.emplace_back("stop");
  if (!complaint_.empty()) return {false, false, complaint_};
  const bool wasRunning = process_.has_value();
  process_.reset();
  return {true, wasRunning, {}};
}

}  // namespace tarvel
