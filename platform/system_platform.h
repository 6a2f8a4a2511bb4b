#pragma once

#include <memory>

#include "platform/platform.h"

namespace tarvel {

/// The services that sorting a file needs, on this machine: files, the user's title order, identifiers, time. Launches
/// nothing and starts no thread.
///
/// The language is taken from the environment at construction: LC_ALL, LC_COLLATE and LANG select the order. Messages
/// are in the user's language if Tarvel's translations are installed beside this library, else in English. Not
/// thread-safe; separate instances are independent.
class SystemPlatform {
 public:
  /// Discards log lines.
  SystemPlatform();
  /// `systemLog` is borrowed and must outlive this.
  explicit SystemPlatform(SystemLog& systemLog);
  ~SystemPlatform();
  SystemPlatform(const SystemPlatform&) = delete;
  SystemPlatform& operator=(const SystemPlatform&) = delete;

  /// The argument of Tarvel's constructor. Valid as long as this object.
  [[nodiscard]] const Platform& platform() const;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tarvel
