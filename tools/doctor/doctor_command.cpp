// tarvel doctor: looks at everything that sorting needs, and says in words what to do.

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "settings/preference_keys.h"
#include "tools/agent/settings_table.h"
#include "tools/doctor/doctor.h"
#include "tools/report/json_text.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

constexpr Findings (*kChecks[])(const DoctorContext&) = {
    checkBookmarksFile, checkContents,     checkKeptSaves,      checkFolder,  checkFileSystem, checkLock,
    checkBackup,        checkSettingsFile, checkSettingsValues, checkWatches, checkError,      checkAgent,
    checkLogin,         checkSession,      checkVersion,        checkUpdates, checkLanguage,   checkBrowsers};

std::size_t countOf(const Findings& findings, FindingState state) {
  return static_cast<std::size_t>(
      std::ranges::count_if(findings, [state](const Finding& finding) { return finding.state == state; }));
}

const char* wordOf(FindingState state) {
  switch (state) {
    case FindingState::kFine:
      return "ok";
    case FindingState::kNote:
      return "note";
    default:
      return "problem";
  }
}

std::string painted(const Painter& painter, FindingState state) {
  // The words stand in one column.
  std::string word = wordOf(state);
  word.resize(8, ' ');
  if (state == FindingState::kFine) return painter.green(word);
  return state == FindingState::kNote ? painter.yellow(word) : painter.red(word);
}

void show(const Findings& findings, const Painter& painter) {
  for (const Finding& finding : findings) {
    std::cout << painted(painter, finding.state) << printable(finding.text) << "\n";
    if (!finding.advice.empty()) std::cout << "        " << painter.bold("→ ") << printable(finding.advice) << "\n";
  }
  const std::size_t problems = countOf(findings, FindingState::kProblem);
  std::cout << "\n"
            << (problems == 0   ? "Nothing is amiss."
                : problems == 1 ? "One thing needs your attention."
                                : std::to_string(problems) + " things need your attention.")
            << "\n";
}

void showJson(const Findings& findings) {
  nlohmann::ordered_json json = {{"problems", countOf(findings, FindingState::kProblem)},
                                 {"notes", countOf(findings, FindingState::kNote)},
                                 {"findings", nlohmann::ordered_json::array()}};
  for (const Finding& finding : findings) {
    json["findings"].push_back({{"check", finding.check},
                                {"state", wordOf(finding.state)},
                                {"text", finding.text},
                                {"advice", finding.advice}});
  }
  std::cout << jsonText(json);
}

}  // namespace

std::string named(const std::string& path) { return "“" + printable(path) + "”"; }

std::string settingInForce(const DoctorContext& context, const char* key) {
  return stateOf(*settingNamed(key), context.agent.preferences, context.agent.files).inForce;
}

std::string bookmarksFileOf(const DoctorContext& context) {
  const PropertyList stored = context.agent.preferences.copyAppValue(kBookmarksFilenameKey, kMainApplicationIdentifier);
  if (const auto path = stored.root.string()) return std::string(*path);
  return context.agent.files.stringByExpandingTildeInPath(kBookmarksFilenameDefault);
}

Findings examine(const DoctorContext& context) {
  Findings all;
  for (const auto check : kChecks) {
    Findings found = check(context);
    std::ranges::move(found, std::back_inserter(all));
  }
  return all;
}

std::vector<std::string> doubtsAboutSorting(const DoctorContext& context) {
  std::vector<std::string> doubts;
  for (const auto check : {checkBookmarksFile, checkContents, checkFolder, checkFileSystem, checkBackup}) {
    for (const Finding& finding : check(context)) {
      if (finding.state == FindingState::kProblem) doubts.push_back(finding.text + " " + finding.advice);
    }
  }
  return doubts;
}

int runDoctor(const DoctorContext& context, const CommandLine& line) {
  const Findings findings = examine(context);
  if (line.json) {
    showJson(findings);
  } else {
    show(findings, Painter(usesColor(line.color, 1)));
  }
  return countOf(findings, FindingState::kProblem) == 0 ? 0 : kExitNeedsAttention;
}

}  // namespace tarvel
