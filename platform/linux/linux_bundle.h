#pragma once

#include "platform/bundle.h"

namespace tarvel {

/// No strings tables are installed beside the command, so every text is the English one: its key.
class LinuxBundle final : public Bundle {
 public:
  [[nodiscard]] std::string bundlePath() override { return {}; }
  [[nodiscard]] std::optional<std::string> stringForInfoDictionaryKey(std::string_view /*key*/) override { return {}; }
  [[nodiscard]] std::string localizedStringForKeyValue(std::string_view key, std::string_view value) override {
    return std::string(value.empty() ? key : value);
  }
};

}  // namespace tarvel
