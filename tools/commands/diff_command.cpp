// diff: what differs between two bookmarks files.

#include <optional>
#include <utility>

#include "tools/commands/commands.h"
#include "tools/commands/difference.h"
#include "tools/files/paths.h"
#include "tools/files/preview_file_manager.h"
#include "tools/files/standard_input.h"
#include "tools/report/change_json.h"
#include "tools/report/page_output.h"
#include "tools/report/report_html.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/shown_progress.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

/// Standard input as a file beside those of the disk.
class InputFileManager final : public PreviewFileManager {
 public:
  explicit InputFileManager(FileManager& real)
      : PreviewFileManager(real, kStandardInputPath, readStandardInput()), real_(real) {}

  [[nodiscard]] bool fileExistsAtPath(const std::string& path) override {
    return path == kStandardInputPath || real_.fileExistsAtPath(path);
  }
  [[nodiscard]] FileReading contentsAtPath(const std::string& path) override {
    return path == kStandardInputPath ? PreviewFileManager::contentsAtPath(path) : real_.contentsAtPath(path);
  }

 private:
  FileManager& real_;
};

struct Names {
  std::string oldPath;
  std::string newPath;
  std::string shownOld;
  std::string shownNew;
};

Names namesOf(FileManager& files, const CommandLine& line) {
  const auto pathOf = [&files](const std::string& given) {
    return given == kStandardInput ? kStandardInputPath : files.stringByExpandingTildeInPath(absolutePath(given));
  };
  Names names{pathOf(line.file), pathOf(line.newFile), {}, {}};
  names.shownOld = shownFile(names.oldPath);
  names.shownNew = shownFile(names.newPath);
  return names;
}

std::string pageOf(const Names& names, const TreeComparison& comparison) {
  PageTexts texts;
  texts.title = "From “" + names.shownOld + "” to “" + names.shownNew + "”";
  texts.notes = {differenceSummary(comparison)};
  texts.beforeTitle = "Old: “" + names.shownOld + "”";
  texts.afterTitle = "New: “" + names.shownNew + "”";
  texts.kinds = {kEntryMoved, kEntryRemoved, kEntryAdded, kEntryRenamed, kEntryNamed, kEntryReaddressed};
  return comparisonAsHtml(comparison, texts);
}

Difference read(const Platform& platform, const CommandLine& line, const Names& names) {
  if (line.file != kStandardInput && line.newFile != kStandardInput) {
    return differenceOf(platform, names.oldPath, names.newPath);
  }
  InputFileManager files(platform.fileManager);
  const Platform withInput{platform.propertyLists, files,           platform.collator,  platform.uuidSource,
                           platform.systemLog,     platform.bundle, platform.workspace, platform.clock};
  return differenceOf(withInput, names.oldPath, names.newPath);
}

}  // namespace

int runDiff(const Platform& platform, const CommandLine& line) {
  Answer answer(line.name, line.output);
  const Names names = namesOf(platform.fileManager, line);
  const PageOutput output(platform.fileManager, line);
  if (line.wantsPage()) {
    const Message refusal = output.refusal({names.oldPath, names.newPath});
    if (!refusal.sentences.empty()) return answer.fail(kExitUsage, refusal);
  }
  answer["old"] = line.file == kStandardInput ? kStandardInput : names.oldPath;
  answer["new"] = line.newFile == kStandardInput ? kStandardInput : names.newPath;
  std::optional<ShownProgress> shown(platform);
  const Difference difference = read(shown->platform(), line, names);
  shown.reset();
  if (difference.failure.code != 0) {
    Message message = messageOf(platform, difference.failure);
    message.sentences.pop_back();
    return answer.fail(difference.failure.code, message);
  }
  const TreeComparison& comparison = difference.comparison;
  const bool isSame = isUnchanged(comparison);
  const int status = isSame ? 0 : kExitWouldChange;
  if (line.wantsPage()) {
    if (!output.isStandardOutput()) answer.say(differenceSummary(comparison));
    return answer.end(output.deliver(pageOf(names, comparison), answer) ? status : kExitFailed);
  }
  answer.page();
  if (!line.output.isQuiet) {
    answer.print("From " + quotedText(names.shownOld) + " to " + quotedText(names.shownNew) + ":\n");
  }
  answer.say(differenceSummary(comparison));
  if (answer.isJson()) {
    answer["same"] = isSame;
    setChanges(answer, comparison);
  } else if (!line.output.isQuiet) {
    answer.print(differenceText(comparison, answer.painter(), line.output.isVerbose));
  }
  return answer.end(status);
}

}  // namespace tarvel
