#pragma once

#include "platform/notifier.h"

namespace tarvel {

/// Desktop notifications over the session bus. Blocks for a few seconds at most.
class LinuxNotifier final : public Notifier {
 public:
  [[nodiscard]] bool notify(const std::string& title, const std::string& text) override;
};

}  // namespace tarvel
