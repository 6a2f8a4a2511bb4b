#pragma once

#include <string>

namespace tarvel {

/// Tells the user something where they will see it, without a window of its own.
class Notifier {
 public:
  virtual ~Notifier() = default;

  /// `title` in a few words, `text` in whole sentences; both plain, whatever characters they hold. False when nobody
  /// was there to show it.
  [[nodiscard]] virtual bool notify(const std::string& title, const std::string& text) = 0;
};

}  // namespace tarvel
