// tarvel: sorts a bookmarks file now, shows beforehand what that would do, and undoes it.

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>

#include "platform/collation/icu_collator.h"
#include "platform/linux/base/linux_clock.h"
#include "platform/linux/base/linux_uuid_source.h"
#include "platform/linux/base/memory_limit.h"
#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/launch/linux_bundle.h"
#include "platform/linux/launch/null_workspace.h"
#include "platform/linux/linux_system_probe.h"
#include "platform/linux/log/linux_log_reader.h"
#include "platform/linux/preferences/linux_preferences_store.h"
#include "platform/linux/service/linux_agent_service.h"
#include "platform/plist/serialization.h"
#include "settings/preference_keys.h"
#include "tools/agent/agent_context.h"
#include "tools/backups/command_paths.h"
#include "tools/command_line/argument_parser.h"
#include "tools/commands/agent_commands.h"
#include "tools/commands/agent_control.h"
#include "tools/commands/browser_command.h"
#include "tools/commands/commands.h"
#include "tools/commands/log_command.h"
#include "tools/doctor/doctor.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/confirmation_prompt.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/text.h"

namespace {

/// Log lines of engine and platform are details for the error output.
class ErrorOutputLog final : public tarvel::SystemLog {
 public:
  void log(std::string_view message) override {
    // The command says itself why a property list cannot be read.
    if (!message.starts_with("Error reading plist")) std::cerr << "tarvel: " << tarvel::printable(message) << "\n";
  }
};

/// What the commands about the agent work on.
struct AgentParts {
  explicit AgentParts(const tarvel::Platform& platform)
      : linux(log),
        agent(linux.context()),
        service(tarvel::kMainApplicationIdentifier),
        probe(tarvel::kMainApplicationIdentifier),
        doctor{platform, agent, service, probe, tarvel::LinuxAgentContext::agentProgram(), tarvel::secondsSince2001()},
        control{agent, service, doctor.agentProgram, [this] { return tarvel::problemsOfSorting(doctor); }} {}

  ErrorOutputLog log;
  tarvel::LinuxAgentContext linux;
  tarvel::AgentContext agent;
  tarvel::LinuxAgentService service;
  tarvel::LinuxSystemProbe probe;
  tarvel::DoctorContext doctor;
  tarvel::AgentControl control;
};

bool isAboutAgent(tarvel::Command command) {
  using tarvel::Command;
  return command == Command::kSettings || command == Command::kStatus || command == Command::kReport ||
         command == Command::kAgent || command == Command::kDoctor || command == Command::kBrowser;
}

int runAboutAgent(const tarvel::Platform& platform, const tarvel::CommandLine& line) {
  if (line.command == tarvel::Command::kAgent && line.agentAction == tarvel::AgentAction::kLog) {
    tarvel::LinuxLogReader reader;
    return tarvel::runLog(reader, line);
  }
  const AgentParts parts(platform);
  switch (line.command) {
    case tarvel::Command::kDoctor:
      return tarvel::runDoctor(parts.doctor, line);
    case tarvel::Command::kAgent:
      return tarvel::runAgent(parts.control, line);
    case tarvel::Command::kSettings:
      return tarvel::runSettings(parts.agent, line);
    case tarvel::Command::kStatus:
      return tarvel::runStatus(parts.agent, line);
    case tarvel::Command::kBrowser:
      return tarvel::runBrowser(parts.agent, tarvel::BrowserSurroundings::ofThisUser(), line);
    default:
      return tarvel::runReport(parts.agent, line);
  }
}

int runRestore(const tarvel::Platform& platform, const tarvel::CommandLine& line,
               const tarvel::CommandSettings& settings) {
  tarvel::TerminalPrompt prompt;
  const AgentParts parts(platform);
  return tarvel::runRestore(
      platform, line, settings,
      {prompt, [&parts](const std::string& file) { return tarvel::isSortedByAgent(parts.agent, file); },
       [&parts] { return tarvel::disableAutomaticSorting(parts.control); }});
}

int runAboutFiles(const tarvel::Platform& platform, const tarvel::CommandLine& line) {
  ErrorOutputLog log;
  tarvel::LinuxPreferencesStore preferences(platform.propertyLists, log);
  const tarvel::CommandSettings settings = tarvel::readCommandSettings(preferences, platform.fileManager);
  const tarvel::Message refusal = tarvel::refusalOfPaths(platform.fileManager, line, settings);
  if (!refusal.sentences.empty()) {
    return tarvel::Answer(line.name, line.output).fail(tarvel::kExitUsage, refusal);
  }
  switch (line.command) {
    case tarvel::Command::kSort:
      return tarvel::runSort(platform, line, settings);
    case tarvel::Command::kPreview:
      return tarvel::runPreview(platform, line, settings);
    case tarvel::Command::kRestore:
      return runRestore(platform, line, settings);
    case tarvel::Command::kBackup:
      return tarvel::runBackup(platform, line, settings);
    case tarvel::Command::kDump:
      return tarvel::runDump(platform, line, settings);
    default:
      return tarvel::runDiff(platform, line);
  }
}

int run(const tarvel::CommandLine& line) {
  tarvel::PlistSerialization propertyLists;
  tarvel::LinuxFileManager fileManager;
  const std::unique_ptr<tarvel::IcuCollator> collator = tarvel::IcuCollator::forEnvironment();
  tarvel::LinuxUuidSource uuidSource;
  ErrorOutputLog log;
  tarvel::LinuxBundle bundle = tarvel::LinuxBundle::forCommand(propertyLists);
  tarvel::NullWorkspace workspace;
  tarvel::LinuxClock clock;
  const tarvel::Platform platform{propertyLists, fileManager, *collator, uuidSource, log, bundle, workspace, clock};
  return isAboutAgent(line.command) ? runAboutAgent(platform, line) : runAboutFiles(platform, line);
}

/// The exit status of a command that returned `status`, once its answer is written out.
int statusOnceWritten(int status) {
  errno = 0;
  std::cout.flush();
  if (std::cout) return status;
  std::cerr << "tarvel: The answer could not be written to standard output"
            << (errno == 0 ? std::string() : std::string(": ") + std::strerror(errno)) << ".\n";
  const bool hasSucceeded = status == 0 || status == tarvel::kExitWouldChange || status == tarvel::kExitNeedsAttention;
  return hasSucceeded ? tarvel::kExitNoAnswer : status;
}

}  // namespace

int main(int argc, char** argv) {
  // A write beyond the limit on file sizes then fails with an error instead of a signal.
  (void)std::signal(SIGXFSZ, SIG_IGN);
  try {
    const tarvel::ParsedCommandLine parsed = tarvel::parseCommandLine(argc, argv);
    if (parsed.isDone) return statusOnceWritten(parsed.exitStatus);
    tarvel::limitMemoryUse();
    return statusOnceWritten(run(parsed.line));
  } catch (const std::exception& error) {
    // The command itself ran out of memory. Files are whole at any moment.
    std::cerr << "tarvel: " << error.what() << "\n";
    return tarvel::kExitNoMemory;
  }
}
