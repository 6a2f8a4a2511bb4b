#pragma once

#include <memory>

#include "platform/platform.h"

namespace tarvel {

/// Everything that sorting one file reaches, on the machine at hand: its files, the order of titles in the user's
/// language, identifiers, time. Nothing is launched, and no thread is started.
///
/// The language comes from the environment when this is made; LC_ALL, LC_COLLATE and LANG choose the order. Messages
/// are in the user's language where Tarvel's texts are installed beside this library, else in English. One thread at a
/// time may use it; several threads may each have their own.
class SystemPlatform {
 public:
  /// Log lines go nowhere.
  SystemPlatform();
  /// `systemLog` is borrowed and outlives this.
  explicit SystemPlatform(SystemLog& systemLog);
  ~SystemPlatform();
  SystemPlatform(const SystemPlatform&) = delete;
  SystemPlatform& operator=(const SystemPlatform&) = delete;

  /// What a Tarvel is made with. Lives as long as this.
  [[nodiscard]] const Platform& platform() const;

 private:
  struct Bodies;
  std::unique_ptr<Bodies> bodies_;
};

}  // namespace tarvel
