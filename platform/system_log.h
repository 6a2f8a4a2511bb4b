#pragma once

#include <string_view>

namespace tarvel {

class SystemLog {
 public:
  virtual ~SystemLog() = default;

  /// Writes one message, built whole by the caller. Never fails the caller, never blocks it for long.
  virtual void log(std::string_view message) = 0;
};

}  // namespace tarvel
