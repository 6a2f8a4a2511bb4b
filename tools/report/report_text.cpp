#include <cstddef>

#include "tools/report/report.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

std::string quoted(std::string_view text) { return "“" + printable(text) + "”"; }

std::string nameOf(const FolderPath& folder) {
  if (folder.empty()) return "the top level";
  std::string name;
  for (const std::string& title : folder) name += (name.empty() ? "" : " / ") + printable(title);
  return name;
}

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string reasonFor(const RemovedEntry& entry) {
  if (entry.isReplaced) {
    return entry.folder.empty() ? "the first top-level folder of this name takes its place"
                                : "goes with a top-level folder whose place the first one of its name takes";
  }
  switch (entry.reason) {
    case RemovalReason::kEmptyFolder:
      return "empty folder";
    case RemovalReason::kNoAddress:
      return "no address";
    case RemovalReason::kDuplicate:
      return "same address as " + quoted(entry.keptTitle) + " in " + nameOf(entry.keptFolder);
  }
  return {};
}

class TextReport {
 public:
  TextReport(const SortReport& report, const Painter& painter) : report_(report), painter_(painter) {}

  std::string build() {
    if (report_.code != 0) {
      line(painter_.red(report_.message));
      settings();
      return text_;
    }
    // The engine's words for success are those of a file that was saved.
    if (report_.changes.isOrderChanged || report_.isPreview) line(report_.message);
    summary();
    if (report_.changes.isOrderChanged || report_.isPreview) {
      orders();
      cleaning();
    }
    settings();
    return text_;
  }

 private:
  void line(const std::string& text) { text_ += text + "\n"; }

  void summary() {
    const std::vector<std::string> sentences = summaryOf(report_);
    for (std::size_t i = 0; i < sentences.size(); ++i) line(i == 0 ? sentences[i] : painter_.dim(sentences[i]));
  }

  void orders() {
    if (!report_.changes.ordered.empty() && !report_.isPreview) line("");
    for (const OrderedFolder& folder : report_.changes.ordered) {
      if (report_.isPreview) line("");
      line(painter_.bold("Order of " + nameOf(folder.folder)) + " " +
           painter_.dim("(" + counted(folder.movedCount, "entry moves", "entries move") + ")"));
      for (std::size_t i = 0; i < folder.entries.size(); ++i) order(i, folder.entries[i]);
    }
  }

  void order(std::size_t position, const OrderedEntry& entry) {
    const std::string number = std::to_string(position + 1);
    const std::string padding(number.size() < 4 ? 4 - number.size() : 0, ' ');
    const std::string title = printable(entry.title.empty() ? "(no title)" : entry.title);
    if (!entry.isMoved) {
      line("  " + padding + number + "  " + title);
      return;
    }
    const std::string from = " (was " + std::to_string(entry.earlierPosition + 1) + ")";
    line(painter_.yellow("* " + padding + number + "  " + title) + painter_.dim(from));
  }

  void cleaning() {
    const Changes& changes = report_.changes;
    if (changes.cleansSomething()) line("");
    for (const RemovedEntry& entry : changes.removed) {
      const std::string address = entry.address.empty() ? "" : " <" + printable(entry.address) + ">";
      line(painter_.red("removed ") + quoted(entry.title) + address + " from " + nameOf(entry.folder) + ": " +
           reasonFor(entry));
    }
    for (const RenamedEntry& entry : changes.renamed) {
      line(painter_.yellow("renamed ") + quoted(entry.before) + " to " + quoted(entry.after) + " in " +
           nameOf(entry.folder));
    }
    for (const NamedEntry& entry : changes.named) {
      line(painter_.green("named   ") + quoted(entry.title) + ", which had no title, in " + nameOf(entry.folder));
    }
  }

  void settings() {
    if (report_.settings.empty()) return;
    line("");
    line(painter_.dim("By your settings (--no-settings leaves them out):"));
    for (const NamedSetting& setting : report_.settings) {
      line(painter_.dim("  " + setting.key + " = " + printable(setting.value)));
    }
  }

  const SortReport& report_;
  const Painter& painter_;
  std::string text_;
};

}  // namespace

std::vector<std::string> summaryOf(const SortReport& report) {
  const Changes& changes = report.changes;
  if (!changes.isOrderChanged) {
    std::vector<std::string> sentences = {report.isPreview ? "Every folder is in order; a sort would write nothing."
                                                           : "Every folder was in order already; nothing was written."};
    if (changes.cleansSomething()) {
      sentences.emplace_back(
          "The cleaning below waits until an order changes: it reaches the file only together with that.");
    }
    return sentences;
  }
  std::vector<std::string> sentences = {
      counted(changes.movedCount(), "entry", "entries") + " moved in " +
      counted(changes.ordered.size(), "folder", "folders") + ", " + std::to_string(changes.removed.size()) +
      " removed, " + std::to_string(changes.renamed.size()) + " renamed, " + std::to_string(changes.named.size()) +
      " named." + (report.isPreview ? " Nothing has been written." : "")};
  if (changes.ordered.empty()) {
    sentences.emplace_back("No order changed, but some entries have no identifier, so the file counts as changed.");
  }
  return sentences;
}

std::string reportAsText(const SortReport& report, const Painter& painter) {
  return TextReport(report, painter).build();
}

}  // namespace tarvel
