#pragma once

#include <string_view>

namespace tarvel {

/// The system's log.
class SystemLog {
 public:
  virtual ~SystemLog() = default;

  /// Writes one message. Never fails or blocks.
  virtual void log(std::string_view message) = 0;
};

}  // namespace tarvel
