#include "tools/report/sort_report.h"

#include "tools/report/change_json.h"
#include "tools/report/change_text.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

void setFields(Answer& answer, const SortReport& report) {
  answer["orderChanged"] = report.changes.isOrderChanged;
  answer["written"] = report.isWritten();
  Answer::Json settings = Answer::Json::object();
  for (const NamedSetting& setting : report.settings) {
    settings[setting.name] = setting.isOn ? Answer::Json(*setting.isOn) : Answer::Json(setting.text);
  }
  answer["settings"] = std::move(settings);
  if (report.comparison != nullptr) setChanges(answer, *report.comparison);
}

void printSettings(Answer& answer, const SortReport& report) {
  if (report.settings.empty() || answer.options().isQuiet) return;
  const Painter& painter = answer.painter();
  std::string text = "\n" + painter.dim("Settings that decided something (--no-settings ignores them):") + "\n";
  for (const NamedSetting& setting : report.settings) {
    text += painter.dim("  " + setting.name + " = " + printable(setting.text)) + "\n";
  }
  answer.print(text);
}

}  // namespace

std::vector<std::string> resultOf(const SortReport& report) {
  const Changes& changes = report.changes;
  std::vector<std::string> sentences;
  if (!changes.isOrderChanged) {
    sentences.emplace_back(report.isPreview ? "The bookmarks are in order already; a sort would write nothing."
                                            : "The bookmarks are in order already; nothing was written.");
    const std::string waiting = waitingSummaryOf(changes);
    if (!waiting.empty()) sentences.push_back(waiting);
    return sentences;
  }
  const std::string summary = summaryOf(changes);
  if (!summary.empty()) sentences.push_back(summary);
  if (changes.movedCount == 0) {
    sentences.emplace_back("No entry moves, but some have no identifier, so the file counts as changed.");
  }
  if (report.isPreview) sentences.emplace_back("Nothing has been written.");
  return sentences;
}

void answerWith(Answer& answer, const SortReport& report) {
  answer.say(joinedSentences(resultOf(report)));
  if (answer.isJson()) {
    setFields(answer, report);
    return;
  }
  if (!answer.options().isQuiet) {
    if (report.changes.isOrderChanged) answer.print(movesAsText(report.changes, answer.painter()));
    const std::string others = otherChangesAsText(report.changes, answer.painter());
    if (!others.empty()) answer.print("\n" + others);
  }
  printSettings(answer, report);
}

}  // namespace tarvel
