#pragma once

#include "platform/notifier.h"

namespace tarvel {

/// Notifications of the desktop, over the session bus. Waits a few seconds at most.
class LinuxNotifier final : public Notifier {
 public:
  [[nodiscard]] bool notify(const std::string& title, const std::string& text) override;
};

}  // namespace tarvel
