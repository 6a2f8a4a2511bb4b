#pragma once

#include <string>
#include <vector>

#include "platform/notifier.h"

namespace tarvel {

/// Records notifications, or simulates that none can be shown.
class MemoryNotifier final : public Notifier {
 public:
  [[nodiscard]] bool notify(const std::string& title, const std::string& text) override {
    if (!works_) return false;
    shown_.push_back(title + ": " + text);
    return true;
  }

  void setWorks(bool works) { works_ = works; }
  /// "TITLE: TEXT" of each, in order.
  [[nodiscard]] const std::vector<std::string>& shown() const { return shown_; }

 private:
  std::vector<std::string> shown_;
  bool works_ = true;
};

}  // namespace tarvel
