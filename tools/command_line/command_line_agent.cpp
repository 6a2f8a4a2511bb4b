#include "tools/command_line/command_line_agent.h"

#include "tools/command_line/command_definition.h"

namespace tarvel {

namespace {

CLI::App* addAction(CLI::App& agent, CommandLine& line, AgentAction action, const std::string& name,
                    const std::string& help) {
  CLI::App* command = agent.add_subcommand(name, help);
  command->callback([&line, action] { line.agentAction = action; });
  return command;
}

}  // namespace

void addAgentControl(CLI::App& app, CommandLine& line) {
  CLI::App* agent = app.add_subcommand("agent", "Sorting by itself: enable, disable, start, stop, status, log");
  (void)addAction(*agent, line, AgentAction::kEnable, "enable", "Turn it on, now and whenever you log in");
  (void)addAction(*agent, line, AgentAction::kDisable, "disable", "Turn it off");
  (void)addAction(*agent, line, AgentAction::kStart, "start", "Start the agent now");
  (void)addAction(*agent, line, AgentAction::kStop, "stop", "End the agent until you next log in");
  (void)addAction(*agent, line, AgentAction::kStatus, "status",
                  "Whether it is on, and whether the agent runs (the default)");
  CLI::App* log = addAction(*agent, line, AgentAction::kLog, "log", "What the agent has written to the system's log");
  log->add_option("--lines", line.logLines, "How many messages to show (default: 20)")
      ->check(CLI::Range(1, 100000).description(""))
      ->type_name("NUMBER");
  log->add_flag("--follow", line.follows, "Wait for more, until Ctrl-C");
  agent->require_subcommand(0, 1);
  agent->callback([&line] { line.command = Command::kAgent; });

  CLI::App* doctor = app.add_subcommand("doctor", "Check everything that sorting needs, and say what to do");
  doctor->add_flag("--json", line.json, "Answer as JSON");
  doctor->add_option("--color", line.color, "Colour the output: auto (on a terminal), always, never")
      ->transform(CLI::CheckedTransformer(kColorChoices, CLI::ignore_case).description(""))
      ->type_name("WHEN");
  doctor->callback([&line] { line.command = Command::kDoctor; });
}

}  // namespace tarvel
