// The page around the trees.

#include "tools/report/report_html.h"

#include "tools/page/page_assets.h"
#include "tools/report/html_text.h"
#include "tools/report/report_html_tree.h"

namespace tarvel {

namespace {

const char* labelFor(EntryChange change) {
  switch (change) {
    case kEntryMoved:
      return "Moved";
    case kEntryRemoved:
      return "Removed";
    case kEntryAdded:
      return "Added";
    case kEntryRenamed:
      return "Renamed";
    case kEntryNamed:
      return "Named";
    case kEntryReaddressed:
      return "Address changed";
  }
  return "";
}

/// The entries of both trees; one that is in both counts once. The root is not an entry.
std::size_t entryCount(const TreeComparison& comparison) {
  return (comparison.before.empty() ? 0 : comparison.before.size() - 1) + comparison.count(kEntryAdded);
}

/// The entries that differ in some way; one that is in both trees counts once.
std::size_t changedCount(const TreeComparison& comparison) {
  std::size_t count = comparison.count(kEntryAdded);
  for (const TreeEntry& entry : comparison.before) count += entry.changes != 0 ? 1 : 0;
  return count;
}

class Page {
 public:
  Page(const TreeComparison& comparison, const PageTexts& texts) : comparison_(comparison), texts_(texts) {}

  std::string build() {
    head();
    top();
    controls();
    html_ += "<main id=\"main\">\n";
    column("before", texts_.beforeTitle, HtmlTree::Side::kBefore);
    column("after", texts_.afterTitle, HtmlTree::Side::kAfter);
    html_ += "</main>\n<script>";
    html_ += pageScript().text;
    html_ += "</script>\n</body>\n</html>\n";
    return html_;
  }

 private:
  void head() {
    html_ = kPageBeginning;
    html_ +=
        "<head>\n<meta charset=\"utf-8\">\n<meta http-equiv=\"Content-Security-Policy\" content=\"default-src "
        "'none'; script-src '";
    html_ += pageScript().hash;
    html_ += "'; style-src '";
    html_ += pageStyle().hash;
    html_ +=
        "'; base-uri 'none'; form-action 'none'\">\n<meta name=\"viewport\" content=\"width=device-width, "
        "initial-scale=1\">\n<meta name=\"color-scheme\" content=\"light dark\">\n<meta name=\"referrer\" "
        "content=\"no-referrer\">\n<title>" +
        htmlText(texts_.title) + "</title>\n<style>";
    html_ += pageStyle().text;
    html_ += "</style>\n</head>\n<body>\n";
  }

  void top() {
    html_ += "<a class=\"skip\" href=\"#main\">Skip to the bookmarks</a>\n<header>\n<h1>" + htmlText(texts_.title) +
             "</h1>\n";
    for (const std::string& note : texts_.notes) html_ += "<p>" + htmlText(note) + "</p>\n";
    html_ += "<nav aria-label=\"On this page\"><a href=\"#before\">" + htmlText(texts_.beforeTitle) +
             "</a> · <a href=\"#after\">" + htmlText(texts_.afterTitle) + "</a></nav>\n</header>\n";
  }

  /// A filter that would show nothing is left out.
  void choice(const std::string& word, const std::string& label, std::size_t count, bool isChecked) {
    if (count == 0 && !isChecked) return;
    html_ += "<label><input type=\"radio\" name=\"only\" id=\"only-" + word + "\"" + (isChecked ? " checked" : "") +
             ">" + label + " <b>" + std::to_string(count) + "</b></label>\n";
  }

  void controls() {
    html_ +=
        "<div class=\"controls\" role=\"region\" aria-label=\"What to show\">\n<fieldset><legend>Entries to "
        "show</legend>\n";
    choice("all", "All", entryCount(comparison_), true);
    choice("changed", "Changed", changedCount(comparison_), false);
    for (const EntryChange kind : texts_.kinds) choice(wordFor(kind), labelFor(kind), comparison_.count(kind), false);
    html_ +=
        "</fieldset>\n<div id=\"scripted\" role=\"search\" hidden>\n<label for=\"search\">Search</label>\n<input "
        "type=\"search\" id=\"search\" autocomplete=\"off\" spellcheck=\"false\" aria-controls=\"main\" "
        "placeholder=\"Title or address\">\n<button type=\"button\" id=\"open\">Open all</button>\n<button "
        "type=\"button\" id=\"close\">Close all</button>\n<output id=\"found\" role=\"status\"></output>\n</div>\n"
        "</div>\n<noscript><p>Scripts are off, so there is no search here; your browser's own finds text in "
        "closed folders too.</p></noscript>\n";
  }

  void column(const std::string& name, const std::string& title, HtmlTree::Side side) {
    const EntryTree& tree = side == HtmlTree::Side::kBefore ? comparison_.before : comparison_.after;
    const std::string classes = tree.empty() ? "" : changeClasses(tree.front());
    html_ += "<section id=\"" + name + "\" class=\"column" + classes + "\" aria-labelledby=\"" + name +
             "-title\">\n<h2 id=\"" + name + "-title\">" + htmlText(title) + "</h2>\n" +
             HtmlTree(comparison_, side).build() + "</section>\n";
  }

  const TreeComparison& comparison_;
  const PageTexts& texts_;
  std::string html_;
};

}  // namespace

std::string comparisonAsHtml(const TreeComparison& comparison, const PageTexts& texts) {
  return Page(comparison, texts).build();
}

}  // namespace tarvel
