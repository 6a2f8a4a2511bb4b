#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// Whether `c` is a visible ASCII character. Any other byte could control a terminal.
[[nodiscard]] constexpr bool isPlainCharacter(char c) { return c > ' ' && c <= '~'; }

/// Makes a text safe for a terminal: characters that are neither visible ASCII nor a space become question marks.
[[nodiscard]] inline std::string plainText(std::string_view text) {
  std::string plain(text);
  for (char& c : plain) {
    if (!isPlainCharacter(c) && c != ' ') c = '?';
  }
  return plain;
}

}  // namespace tarvel
