#pragma once

#include <compare>
#include <string_view>

namespace tarvel {

/// Which of two versions is the newer one, greater meaning newer.
///
/// Versions are taken apart into numbers, words and dots, which are compared in turn: numbers by value, words by their
/// bytes, and where kinds differ a word is older than anything else and a dot older than a number. Of two versions that
/// begin alike the longer one is newer, unless it goes on with a word: 1.0b1 comes before 1.0, which comes
/// before 1.0.1.
[[nodiscard]] std::strong_ordering compareVersions(std::string_view first, std::string_view second);

}  // namespace tarvel
