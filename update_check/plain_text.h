#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// Whether `c` is an ASCII character with a shape. All others may steer a terminal, alone or as a part of a character.
[[nodiscard]] constexpr bool isPlainCharacter(char c) { return c > ' ' && c <= '~'; }

/// A text for a terminal: what is neither plain nor a space becomes a question mark.
[[nodiscard]] inline std::string plainText(std::string_view text) {
  std::string plain(text);
  for (char& c : plain) {
    if (!isPlainCharacter(c) && c != ' ') c = '?';
  }
  return plain;
}

}  // namespace tarvel
