// tarvel: sorts a bookmarks file now, shows beforehand what that would do, undoes it, and shows property lists.

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
#include "tools/terminal/confirmation_prompt.h"
#include "tools/terminal/local_time.h"
#include "tools/terminal/terminal.h"

namespace {

/// The engine's log lines are details for whoever looks at the error output.
class ErrorOutputLog final : public tarvel::SystemLog {
 public:
  void log(std::string_view message) override { std::cerr << "tarvel: " << tarvel::printable(message) << "\n"; }
};

/// Whether an agent runs that sorts this file.
bool isWatchedByAgent(const std::string& file) {
  ErrorOutputLog log;
  tarvel::LinuxAgentContext linux(log);
  return tarvel::isSortedByAgent(linux.context(), file);
}

bool isAroundAgent(tarvel::Command command) {
  using tarvel::Command;
  return command == Command::kSettings || command == Command::kStatus || command == Command::kReport ||
         command == Command::kAgent || command == Command::kDoctor || command == Command::kBrowser;
}

int runAroundAgent(const tarvel::Platform& platform, const tarvel::CommandLine& line) {
  if (line.command == tarvel::Command::kAgent && line.agentAction == tarvel::AgentAction::kLog) {
    tarvel::LinuxLogReader reader;
    return tarvel::runLog(reader, line);
  }
  ErrorOutputLog log;
  tarvel::LinuxAgentContext linux(log);
  const tarvel::AgentContext agent = linux.context();
  if (line.command == tarvel::Command::kBrowser) {
    return tarvel::runBrowser(agent, tarvel::BrowserSurroundings::ofThisUser(), line);
  }
  const std::string program = tarvel::LinuxAgentContext::agentProgram();
  tarvel::LinuxAgentService service(tarvel::kMainApplicationIdentifier);
  tarvel::LinuxSystemProbe probe(tarvel::kMainApplicationIdentifier);
  const tarvel::DoctorContext context{platform, agent, service, probe, program, tarvel::secondsSince2001()};
  if (line.command == tarvel::Command::kDoctor) return tarvel::runDoctor(context, line);
  if (line.command == tarvel::Command::kAgent) {
    return tarvel::runAgent({agent, service, program, [&context] { return tarvel::doubtsAboutSorting(context); }},
                            line);
  }
  if (line.command == tarvel::Command::kSettings) return tarvel::runSettings(agent, line);
  return line.command == tarvel::Command::kStatus ? tarvel::runStatus(agent, line) : tarvel::runReport(agent, line);
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
  tarvel::TerminalPrompt prompt;
  const tarvel::Platform platform{propertyLists, fileManager, *collator, uuidSource, log, bundle, workspace, clock};
  if (isAroundAgent(line.command)) return runAroundAgent(platform, line);
  tarvel::LinuxPreferencesStore preferences(propertyLists, log);
  const tarvel::CommandSettings settings = tarvel::readCommandSettings(preferences, fileManager);
  const std::string refusal = tarvel::refusalOfPaths(fileManager, line, settings);
  if (!refusal.empty()) {
    std::cerr << "tarvel: " << refusal << "\nNothing was changed.\n";
    return tarvel::kExitUsage;
  }
  switch (line.command) {
    case tarvel::Command::kSort:
      return tarvel::runSort(platform, line, settings);
    case tarvel::Command::kPreview:
      return tarvel::runPreview(platform, line, settings);
    case tarvel::Command::kRestore:
      return tarvel::runRestore(platform, line, settings, prompt, isWatchedByAgent);
    case tarvel::Command::kBackup:
      return tarvel::runBackup(platform, line, settings);
    case tarvel::Command::kDump:
      return tarvel::runDump(platform, line, settings);
    default:
      return tarvel::runDiff(platform, line);
  }
}

/// The status of a command that has ended with `status`, once its answer is written out.
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
  // So that a write beyond a limit on the size of files fails like any other, instead of ending the command.
  (void)std::signal(SIGXFSZ, SIG_IGN);
  try {
    const tarvel::ParsedCommandLine parsed = tarvel::parseCommandLine(argc, argv);
    if (parsed.isDone) return statusOnceWritten(parsed.exitStatus);
    tarvel::limitMemoryUse();
    return statusOnceWritten(run(parsed.line));
  } catch (const std::exception& error) {
    // What is left to throw is memory running out in the command itself; files are whole at any moment.
    std::cerr << "tarvel: " << error.what() << "\n";
    return 70;
  }
}
