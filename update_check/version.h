#pragma once

#include <compare>
#include <string_view>

namespace tarvel {

/// Compares two versions; greater means newer.
///
/// Versions are split into numbers, words and dots, which are compared in turn: numbers by value, words by bytes. A
/// word is older than anything else, a dot older than a number. If one version is a prefix of the other, the longer one
/// is newer unless it continues with a word: 1.0b1 < 1.0 < 1.0.1.
[[nodiscard]] std::strong_ordering compareVersions(std::string_view first, std::string_view second);

}  // namespace tarvel
