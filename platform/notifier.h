#pragma once

#include <string>

namespace tarvel {

/// Shows notifications to the user.
class Notifier {
 public:
  virtual ~Notifier() = default;

  /// Shows a short `title` and a plain `text`; neither is interpreted as markup. False if nothing could show it.
  [[nodiscard]] virtual bool notify(const std::string& title, const std::string& text) = 0;
};

}  // namespace tarvel
