#include "tools/command_line/command_definition.h"

namespace tarvel {

namespace {

CLI::App* addBrowserAction(CLI::App& browser, CommandLine& line, BrowserAction action, const std::string& name,
                           const std::string& help) {
  CLI::App* command = browser.add_subcommand(name, help);
  command->callback([&line, action] { line.browserAction = action; });
  return command;
}

void addBrowserNames(CLI::App& command, CommandLine& line) {
  command.add_option("BROWSER", line.browsers, "A name from the list (default: every browser that is found)")
      ->type_name("");
}

}  // namespace

void defineBrowserCommands(CLI::App& app, CommandLine& line) {
  CLI::App* browser = app.add_subcommand("browser", "Sorting in Chromium and Firefox: list, enable, disable, status");
  (void)addBrowserAction(*browser, line, BrowserAction::kList, "list", "Every browser that Tarvel knows");
  addBrowserNames(*addBrowserAction(*browser, line, BrowserAction::kEnable, "enable", "Set browsers up"), line);
  addBrowserNames(*addBrowserAction(*browser, line, BrowserAction::kDisable, "disable", "Undo the set-up"), line);
  (void)addBrowserAction(*browser, line, BrowserAction::kStatus, "status",
                         "Which browsers are set up, and whether they sort automatically (the default)");
  browser->require_subcommand(0, 1);
  browser->callback([&line] { line.command = Command::kBrowser; });
}

}  // namespace tarvel
