#pragma once

#include <string>
#include <string_view>

// Text that comes from files, made safe to show. Each function spells out, in the notation of its format, every
// character that could steer a terminal or disguise the text around it: controls (C0, DEL, C1), format characters such
// as direction overrides and isolates, line and paragraph separators, lone surrogates, and bytes that are no UTF-8.
// Zero-width joiners stay: they only tie letters or emoji together. Pure functions; all threads.
namespace tarvel {

/// One piece of text for people: \u{001B}. Line breaks and tabs are spelled out too.
[[nodiscard]] std::string printable(std::string_view text);

/// `text` printable and in quotation marks: “text”. The one way in which messages name paths and other outside text.
[[nodiscard]] std::string quotedText(std::string_view text);

/// A whole JSON document: \u001B, as JSON itself spells characters, so that its values stay the same. Line breaks
/// between values stay.
[[nodiscard]] std::string escapedJson(std::string_view json);

/// A whole XML document for a terminal: &#x1B;. Line feeds and tabs stay.
[[nodiscard]] std::string escapedXml(std::string_view xml);

}  // namespace tarvel
