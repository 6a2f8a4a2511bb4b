#include "tools/report/html_text.h"

#include "tools/terminal/text.h"

namespace tarvel {

std::string htmlText(std::string_view text) {
  std::string escaped;
  for (const char c : printable(text)) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped.push_back(c);
    }
  }
  return escaped;
}

std::string isolated(std::string_view text, std::string_view cssClass) {
  return "<bdi class=\"" + std::string(cssClass) + "\">" + htmlText(text) + "</bdi>";
}

}  // namespace tarvel
