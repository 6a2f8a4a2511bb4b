#pragma once

#include <string>
#include <string_view>

#include "tools/terminal/text.h"

namespace tarvel {

/// When to colour: on a terminal, always, never.
enum class ColorChoice { kAuto, kAlways, kNever };

/// Whether to colour text for a file descriptor. "auto" needs a terminal, an empty NO_COLOR and a TERM other than
/// "dumb".
[[nodiscard]] bool usesColor(ColorChoice choice, int descriptor);

/// Colours texts, or returns them unchanged.
class Painter {
 public:
  explicit Painter(bool isColoring) : isColoring_(isColoring) {}

  [[nodiscard]] std::string bold(std::string_view text) const { return paint("1", text); }
  [[nodiscard]] std::string dim(std::string_view text) const { return paint("2", text); }
  [[nodiscard]] std::string red(std::string_view text) const { return paint("31", text); }
  [[nodiscard]] std::string green(std::string_view text) const { return paint("32", text); }
  [[nodiscard]] std::string yellow(std::string_view text) const { return paint("33", text); }

 private:
  [[nodiscard]] std::string paint(std::string_view code, std::string_view text) const;

  bool isColoring_;
};

}  // namespace tarvel
