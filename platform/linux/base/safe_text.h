#pragma once

#include <string>
#include <string_view>

// Makes text from files safe to display. Each function escapes, in the notation of its format, every character that
// could control a terminal or disguise the text around it: control characters (C0, DEL, C1), format characters such as
// direction overrides and isolates, line and paragraph separators, lone surrogates, and bytes that are not UTF-8.
// Zero-width joiners stay: they only join letters or emoji. Pure functions; thread-safe.
namespace tarvel {

/// For messages: \u{001B}. Line breaks and tabs are escaped too.
[[nodiscard]] std::string printable(std::string_view text);

/// `text` printable and in quotation marks: “text”. The one way in which messages name paths and other outside text.
[[nodiscard]] std::string quotedText(std::string_view text);

/// For a whole JSON document: \u001B, which keeps the values unchanged. Line breaks between values stay.
[[nodiscard]] std::string escapedJson(std::string_view json);

/// For a whole XML document on a terminal: &#x1B;. Line feeds and tabs stay.
[[nodiscard]] std::string escapedXml(std::string_view xml);

}  // namespace tarvel
