#include "tools/command_line/command_definition.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

constexpr std::size_t kMostLogLines = 100'000;

void addSettingsAction(CLI::App& settings, CommandLine& line, SettingsAction action, const std::string& name,
                       const std::string& help) {
  CLI::App* command = settings.add_subcommand(name, help);
  if (action != SettingsAction::kList) {
    command->add_option("KEY", line.key, "The setting's name")->type_name("")->required();
  }
  if (action == SettingsAction::kSet) {
    command->add_option("VALUE", line.value, "yes or no, a number of seconds, or a full path")
        ->type_name("")
        ->required();
  }
  command->callback([&line, action] { line.settingsAction = action; });
}

CLI::App* addAgentAction(CLI::App& agent, CommandLine& line, AgentAction action, const std::string& name,
                         const std::string& help) {
  CLI::App* command = agent.add_subcommand(name, help);
  command->callback([&line, action] { line.agentAction = action; });
  return command;
}

std::string checkLogLines(const std::string& text) {
  const bool isNumber = !text.empty() && text.size() <= 6 && text.find_first_not_of("0123456789") == std::string::npos;
  const bool isInRange = isNumber && std::stoul(text) >= 1 && std::stoul(text) <= kMostLogLines;
  return isInRange ? std::string() : quotedText(text) + " is not a number from 1 to " + std::to_string(kMostLogLines);
}

void defineAgentLog(CLI::App& agent, CommandLine& line) {
  CLI::App* log = addAgentAction(agent, line, AgentAction::kLog, "log", "Show what the agent wrote to the journal");
  log->add_option_function<std::string>(
         "-n,--lines", [&line](const std::string& count) { line.logLines = std::stoul(count); },
         "How many messages to show (default: 20)")
      ->check(CLI::Validator(checkLogLines, "", "lines"))
      ->type_name("NUMBER");
  log->add_flag("-f,--follow", line.follows, "Wait for more, until Ctrl-C");
}

}  // namespace

void defineSettingsCommand(CLI::App& app, CommandLine& line) {
  CLI::App* settings = app.add_subcommand("settings", "Show or change the settings: list, get, set, unset");
  addSettingsAction(*settings, line, SettingsAction::kList, "list", "Every setting with its value (the default)");
  addSettingsAction(*settings, line, SettingsAction::kGet, "get", "The value of one setting");
  addSettingsAction(*settings, line, SettingsAction::kSet, "set", "Give a setting a value");
  addSettingsAction(*settings, line, SettingsAction::kUnset, "unset", "Return a setting to its default");
  settings->require_subcommand(0, 1);
  settings->callback([&line] { line.command = Command::kSettings; });
}

void defineAgentCommands(CLI::App& app, CommandLine& line) {
  CLI::App* agent = app.add_subcommand("agent", "Automatic sorting: enable, disable, start, stop, status, log");
  (void)addAgentAction(*agent, line, AgentAction::kEnable, "enable", "Turn it on, now and whenever you log in");
  (void)addAgentAction(*agent, line, AgentAction::kDisable, "disable", "Turn it off");
  (void)addAgentAction(*agent, line, AgentAction::kStart, "start", "Start the agent now");
  (void)addAgentAction(*agent, line, AgentAction::kStop, "stop", "Stop the agent until you next log in");
  (void)addAgentAction(*agent, line, AgentAction::kStatus, "status",
                       "Whether it is on, and whether the agent is running (the default)");
  defineAgentLog(*agent, line);
  agent->require_subcommand(0, 1);
  agent->callback([&line] { line.command = Command::kAgent; });

  app.add_subcommand("status", "Show whether the agent is running, its settings and its last error")->callback([&line] {
    line.command = Command::kStatus;
  });
  app.add_subcommand("doctor", "Check everything that sorting needs, and say what to do")->callback([&line] {
    line.command = Command::kDoctor;
  });
  app.add_subcommand("report", "Show and clear the agent's pending error")->callback([&line] {
    line.command = Command::kReport;
  });
}

}  // namespace tarvel
