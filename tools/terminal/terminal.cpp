#include "tools/terminal/terminal.h"

#include <unistd.h>

#include <cstdlib>

namespace tarvel {

bool usesColor(ColorChoice choice, int descriptor) {
  if (choice != ColorChoice::kAuto) return choice == ColorChoice::kAlways;
  const char* noColor = std::getenv("NO_COLOR");
  const char* term = std::getenv("TERM");
  if (noColor != nullptr && *noColor != '\0') return false;
  if (term == nullptr || std::string_view(term) == "dumb") return false;
  return isatty(descriptor) == 1;
}

std::string Painter::paint(std::string_view code, std::string_view text) const {
  if (!isColoring_) return std::string(text);
  return "\x1B[" + std::string(code) + "m" + std::string(text) + "\x1B[0m";
}

}  // namespace tarvel
