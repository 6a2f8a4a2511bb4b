#include "tools/command_line/command_line_browser.h"

namespace tarvel {

namespace {

CLI::App* addAction(CLI::App& browser, CommandLine& line, BrowserAction action, const std::string& name,
                    const std::string& help) {
  CLI::App* command = browser.add_subcommand(name, help);
  command->callback([&line, action] { line.browserAction = action; });
  return command;
}

void addBrowsers(CLI::App& command, CommandLine& line) {
  command.add_option("BROWSER", line.browsers, "Its name in the list (default: every browser that is found)")
      ->type_name("");
}

}  // namespace

void addBrowserCommand(CLI::App& app, CommandLine& line) {
  CLI::App* browser = app.add_subcommand("browser", "Sorting in Chromium and Firefox: list, enable, disable, status");
  CLI::App* list = addAction(*browser, line, BrowserAction::kList, "list", "The browsers that are known");
  list->add_flag("--json", line.json, "Answer as JSON");
  addBrowsers(*addAction(*browser, line, BrowserAction::kEnable, "enable", "Tell browsers where the host is"), line);
  addBrowsers(*addAction(*browser, line, BrowserAction::kDisable, "disable", "Have them forget it"), line);
  CLI::App* status = addAction(*browser, line, BrowserAction::kStatus, "status",
                               "Which browsers are set up, and whether they sort by themselves (the default)");
  status->add_flag("--json", line.json, "Answer as JSON");
  browser->require_subcommand(0, 1);
  browser->callback([&line] { line.command = Command::kBrowser; });
}

}  // namespace tarvel
