#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tarvel {

/// One element of a page.
struct PageElement {
  std::string name;
  /// Decoded; empty for one without a value.
  std::map<std::string, std::string> attributes;
  /// The text directly in it and in all elements below, decoded.
  std::string text;
  std::size_t parent = static_cast<std::size_t>(-1);
  std::size_t depth = 0;

  [[nodiscard]] std::string attribute(const std::string& key) const {
    const auto found = attributes.find(key);
    return found == attributes.end() ? std::string() : found->second;
  }
  [[nodiscard]] bool has(const std::string& key) const { return attributes.contains(key); }
  [[nodiscard]] bool hasClass(const std::string& word) const {
    return (" " + attribute("class") + " ").find(" " + word + " ") != std::string::npos;
  }
};

/// A page read as strictly as a page may be written: lower-case names, values in double quotes, every element ended,
/// and every other mark of the language spelled as an entity. Anything else is a test failure, and ends the reading.
class PageReader {
 public:
  explicit PageReader(std::string_view page) : page_(page) {
    constexpr std::string_view kBeginning = "<!DOCTYPE html>\n";
    EXPECT_TRUE(page_.starts_with(kBeginning));
    at_ = kBeginning.size();
    while (at_ < page_.size() && !hasFailed_) step();
    if (!hasFailed_) {
      EXPECT_TRUE(open_.empty()) << "not ended: " << elements[open_.back()].name;
    }
  }

  std::vector<PageElement> elements;

  [[nodiscard]] std::vector<std::size_t> all(const std::string& name, const std::string& cssClass = {}) const {
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < elements.size(); ++i) {
      if (elements[i].name == name && (cssClass.empty() || elements[i].hasClass(cssClass))) found.push_back(i);
    }
    return found;
  }

  /// The one element of an identifier; a test failure, and an empty element, when there is not exactly one.
  [[nodiscard]] const PageElement& byId(const std::string& id) const {
    static const PageElement kNone;
    const PageElement* found = nullptr;
    std::size_t count = 0;
    for (const PageElement& element : elements) {
      if (!element.has("id") || element.attribute("id") != id) continue;
      found = &element;
      ++count;
    }
    EXPECT_EQ(count, 1U) << id;
    return count == 1 ? *found : kNone;
  }

  /// Whether an element is somewhere inside another one.
  [[nodiscard]] bool isInside(std::size_t element, std::size_t outer) const {
    while (element != static_cast<std::size_t>(-1) && element != outer) element = elements[element].parent;
    return element == outer;
  }

 private:
  void fail(const std::string& reason) {
    hasFailed_ = true;
    ADD_FAILURE() << reason << " at " << at_ << ": " << page_.substr(at_, 80);
  }

  void step() {
    const std::string_view rest = page_.substr(at_);
    if (rest.starts_with("<!-- ")) {
      const std::size_t end = rest.find(" -->");
      if (end == std::string_view::npos) return fail("a comment without an end");
      at_ += end + 4;
    } else if (rest.starts_with("</")) {
      endElement();
    } else if (rest.front() == '<') {
      beginElement();
    } else {
      const std::size_t length = std::min(rest.find('<'), rest.size());
      addText(decoded(rest.substr(0, length)));
      at_ += length;
    }
  }

  std::string takeName() {
    const std::size_t end = page_.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-", at_);
    std::string name(page_.substr(at_, end - at_));
    at_ = std::min(end, page_.size());
    if (name.empty()) fail("no name");
    return name;
  }

  bool take(std::string_view expected) {
    if (!page_.substr(at_).starts_with(expected)) return false;
    at_ += expected.size();
    return true;
  }

  void beginElement() {
    ++at_;
    PageElement element;
    element.name = takeName();
    while (!hasFailed_ && !take(">")) {
      if (!take(" ")) return fail("neither an attribute nor an end");
      const std::string key = takeName();
      std::string value;
      if (take("=\"")) {
        const std::size_t end = page_.find('"', at_);
        if (end == std::string_view::npos) return fail("a value without an end");
        value = decoded(page_.substr(at_, end - at_));
        at_ = end + 1;
      }
      if (!element.attributes.emplace(key, value).second) return fail("an attribute twice");
    }
    element.depth = open_.size();
    if (!open_.empty()) element.parent = open_.back();
    elements.push_back(element);
    static const std::set<std::string> kVoid = {"meta", "input"};
    if (kVoid.contains(element.name)) return;
    open_.push_back(elements.size() - 1);
    if (element.name == "style" || element.name == "script") takeRawText(element.name);
  }

  void takeRawText(const std::string& name) {
    const std::size_t end = page_.find("</" + name, at_);
    if (end == std::string_view::npos) return fail("a raw text without an end");
    addText(std::string(page_.substr(at_, end - at_)));
    at_ = end;
  }

  void endElement() {
    at_ += 2;
    const std::string name = takeName();
    if (!take(">")) return fail("an end that goes on");
    if (open_.empty() || elements[open_.back()].name != name) return fail("an end of what has not begun: " + name);
    open_.pop_back();
  }

  void addText(const std::string& text) {
    for (const std::size_t element : open_) elements[element].text += text;
  }

  std::string decoded(std::string_view text) {
    static const std::map<std::string, char> kEntities = {
        {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&#39;", '\''}};
    std::string plain;
    for (std::size_t i = 0; i < text.size();) {
      if (text[i] == '<' || text[i] == '>' || text[i] == '"') fail("an open mark in a text");
      const std::size_t end = text[i] == '&' ? text.find(';', i) : i;
      const auto entity = kEntities.find(std::string(text.substr(i, end - i + 1)));
      if (text[i] == '&' && entity == kEntities.end()) fail("an open ampersand");
      plain.push_back(entity == kEntities.end() ? text[i] : entity->second);
      i = (entity == kEntities.end() ? i : end) + 1;
    }
    return plain;
  }

  std::string_view page_;
  std::size_t at_ = 0;
  std::vector<std::size_t> open_;
  bool hasFailed_ = false;
};

}  // namespace tarvel
