// diff: what differs between two bookmarks files.

#include <unistd.h>

#include <iostream>
#include <optional>
#include <utility>

#include "engine/tarvel.h"
#include "tools/commands/commands.h"
#include "tools/compare/difference_report.h"
#include "tools/compare/tree_matching.h"
#include "tools/files/paths.h"
#include "tools/report/page_output.h"
#include "tools/report/report_html.h"
#include "tools/terminal/shown_progress.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

struct Reading {
  std::int32_t code = TarvelErrorNone;
  PropertyList list;
};

Reading readTree(const Platform& platform, const std::string& file) {
  Tarvel tarvel(platform);
  if (!platform.fileManager.fileExistsAtPath(file)) return {TarvelErrorBookmarksFileNotFound, {}};
  Reading reading{TarvelErrorNone, tarvel.bookmarksDictionaryWithFilename(file)};
  if (!reading.list.root) return {TarvelErrorReadFailed, {}};
  const PropertyListDictionary root = reading.list.root.dictionary();
  if (!tarvel.verifyThatDictionaryIsBookmarksFileRootNode(reading.list.root)) {
    return {TarvelErrorNotBookmarksFile, {}};
  }
  if (!tarvel.verifyThatDictionaryHasCorrectVersionWithRootNode(root)) return {TarvelErrorUnknownVersion, {}};
  return reading;
}

std::string pageOf(const DifferenceReport& report) {
  PageTexts texts;
  texts.title = "From “" + report.oldFile + "” to “" + report.newFile + "”";
  texts.notes = {summaryOf(report.comparison)};
  texts.beforeTitle = "Old: “" + report.oldFile + "”";
  texts.afterTitle = "New: “" + report.newFile + "”";
  texts.kinds = {kEntryMoved, kEntryRemoved, kEntryAdded, kEntryRenamed, kEntryNamed, kEntryReaddressed};
  return comparisonAsHtml(report.comparison, texts);
}

}  // namespace

DifferenceReading differenceOf(const Platform& platform, const std::string& oldFile, const std::string& newFile) {
  DifferenceReading reading;
  reading.report.oldFile = oldFile;
  reading.report.newFile = newFile;
  const Reading before = readTree(platform, oldFile);
  const Reading after = before.code == TarvelErrorNone ? readTree(platform, newFile) : Reading{};
  reading.code = before.code != TarvelErrorNone ? before.code : after.code;
  if (reading.code == TarvelErrorNone) {
    reading.report.comparison = comparisonOf(before.list.root.dictionary(), after.list.root.dictionary());
  } else {
    const std::string& named = before.code != TarvelErrorNone ? oldFile : newFile;
    reading.message = Tarvel::stringFromTarvelErrorAndFilename(platform.bundle, reading.code, printable(named));
  }
  return reading;
}

int runDiff(const Platform& platform, const CommandLine& line) {
  FileManager& files = platform.fileManager;
  const std::string oldFile = files.stringByExpandingTildeInPath(absolutePath(line.file));
  const std::string newFile = files.stringByExpandingTildeInPath(absolutePath(line.newFile));
  const bool wantsPage = line.opensPage || !line.htmlFile.empty();
  const PageOutput output(files, line);
  if (wantsPage && !output.isAllowed({oldFile, newFile})) return kExitUsage;
  std::optional<ShownProgress> shown(platform);
  const DifferenceReading reading = differenceOf(shown->platform(), oldFile, newFile);
  shown.reset();
  if (reading.code != TarvelErrorNone && line.json) {
    std::cout << differenceFailureAsJson(reading.report, reading.code, reading.message);
    return reading.code;
  }
  if (reading.code != TarvelErrorNone) {
    std::cerr << Painter(usesColor(line.color, STDERR_FILENO)).red(reading.message) << "\n";
    return reading.code;
  }
  if (wantsPage) {
    if (!output.isStandardOutput()) std::cout << summaryOf(reading.report.comparison) << "\n";
    if (!output.deliver(pageOf(reading.report))) return kExitFailed;
  } else if (line.json) {
    std::cout << differenceAsJson(reading.report);
  } else {
    std::cout << differenceAsText(reading.report, Painter(usesColor(line.color, STDOUT_FILENO)));
  }
  return isSame(reading.report.comparison) ? 0 : kExitWouldChange;
}

}  // namespace tarvel
