#pragma once

#include <string_view>

namespace tarvel {

/// Where lines go that nobody asked for but somebody may look for.
class SystemLog {
 public:
  virtual ~SystemLog() = default;

  /// Writes one message, built whole by the caller. Never fails the caller and never makes it wait.
  virtual void log(std::string_view message) = 0;
};

}  // namespace tarvel
