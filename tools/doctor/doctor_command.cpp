// tarvel doctor: checks everything that sorting needs, and says what to do.

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/doctor/doctor.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

constexpr Findings (*kChecks[])(const DoctorContext&) = {
    checkBookmarksFile, checkContents,     checkKeptSaves,      checkFolder,  checkFileSystem, checkLock,
    checkBackup,        checkSettingsFile, checkSettingsValues, checkWatches, checkError,      checkAgent,
    checkLogin,         checkSession,      checkVersion,        checkUpdates, checkLanguage,   checkBrowsers};

/// As wide as the column of the states.
const std::string kMargin(8, ' ');

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
  // The words form one column.
  std::string word = wordOf(state);
  word.resize(kMargin.size(), ' ');
  if (state == FindingState::kFine) return painter.green(word);
  return state == FindingState::kNote ? painter.yellow(word) : painter.red(word);
}

std::string resultOf(std::size_t problems) {
  return problems == 0 ? std::string("No problems found.") : counted(problems, "problem", "problems") + " found.";
}

/// A text that begins so many columns to the right of the margin, broken into lines below each other.
std::string below(const Answer& answer, const std::string& text, std::size_t indent = 0) {
  const std::size_t column = kMargin.size() + indent;
  return wrapped(std::string(column, ' ') + text, answer.columns(), column).substr(column);
}

void show(Answer& answer, const Findings& findings) {
  const Painter& painter = answer.painter();
  std::string text;
  for (const Finding& finding : findings) {
    if (answer.options().isQuiet && finding.state == FindingState::kFine) continue;
    text += painted(painter, finding.state) + below(answer, printable(finding.text)) + "\n";
    if (!finding.advice.empty())
      text += kMargin + painter.bold("→ ") + below(answer, printable(finding.advice), 2) + "\n";
    if (!finding.command.empty()) text += kMargin + ("  " + finding.command) + "\n";
  }
  if (!text.empty()) answer.print(text + "\n");
}

void setFields(Answer& answer, const Findings& findings) {
  answer["problems"] = countOf(findings, FindingState::kProblem);
  answer["notes"] = countOf(findings, FindingState::kNote);
  Answer::Json list = Answer::Json::array();
  for (const Finding& finding : findings) {
    list.push_back({{"check", finding.check},
                    {"state", wordOf(finding.state)},
                    {"text", finding.text},
                    {"advice", finding.advice.empty() ? Answer::Json() : Answer::Json(finding.advice)},
                    {"command", finding.command.empty() ? Answer::Json() : Answer::Json(finding.command)}});
  }
  answer["findings"] = std::move(list);
}

}  // namespace

Findings examine(const DoctorContext& context) {
  Findings all;
  for (const auto check : kChecks) {
    Findings found = check(context);
    std::ranges::move(found, std::back_inserter(all));
  }
  return all;
}

std::vector<Message> problemsOfSorting(const DoctorContext& context) {
  std::vector<Message> problems;
  for (const auto check : {checkBookmarksFile, checkContents, checkFolder, checkFileSystem, checkBackup}) {
    for (const Finding& finding : check(context)) {
      if (finding.state == FindingState::kProblem)
        problems.push_back({{finding.text, finding.advice}, finding.command});
    }
  }
  return problems;
}

int runDoctor(const DoctorContext& context, const CommandLine& line) {
  Answer answer(line.name, line.output);
  const Findings findings = examine(context);
  const std::size_t problems = countOf(findings, FindingState::kProblem);
  setFields(answer, findings);
  show(answer, findings);
  answer.say(resultOf(problems));
  return answer.end(problems == 0 ? 0 : kExitNeedsAttention);
}

}  // namespace tarvel
