#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/memory/memory_bundles.h"
#include "platform/memory/memory_file_manager.h"
#include "platform/memory/memory_workspace.h"
#include "platform/memory/virtual_time.h"
#include "platform/platform.h"

namespace tarvel {

/// Orders titles by their bytes, ignoring the case of ASCII letters. Sufficient to test the rules that use it.
class MemoryCollator final : public Collator {
 public:
  [[nodiscard]] std::vector<std::uint32_t> rank(std::span<const std::string_view> titles) override;
};

/// Sleeping advances virtual time and is recorded.
class MemoryClock final : public Clock {
 public:
  /// `time` is borrowed.
  explicit MemoryClock(VirtualTime& time) : time_(time) {}

  void sleepFor(std::chrono::milliseconds duration) override;
  [[nodiscard]] std::chrono::nanoseconds monotonic() override { return time_.monotonic(); }
  [[nodiscard]] Date wallClock() override { return time_.wallClock(); }

  [[nodiscard]] const std::vector<std::chrono::milliseconds>& sleeps() const { return sleeps_; }
  /// Resets the record of sleeps.
  void forgetSleeps() { std::vector<std::chrono::milliseconds>().swap(sleeps_); }
  /// Called in every sleep, with the number of sleeps so far, this one included.
  void setHook(std::function<void(std::size_t)> hook) { hook_ = std::move(hook); }

 private:
  VirtualTime& time_;
  std::vector<std::chrono::milliseconds> sleeps_;
  std::function<void(std::size_t)> hook_;
};

/// Records the log lines.
class MemorySystemLog final : public SystemLog {
 public:
  void log(std::string_view message) override { lines_.emplace_back(message); }

  [[nodiscard]] const std::vector<std::string>& lines() const { return lines_; }
  void forgetLines() { std::vector<std::string>().swap(lines_); }

 private:
  std::vector<std::string> lines_;
};

/// A counter instead of random numbers, with the version and variant bits of a random UUID.
class MemoryUuidSource final : public UuidSource {
 public:
  [[nodiscard]] std::array<std::uint8_t, 16> createUuid() override;

 private:
  std::uint32_t count_ = 0;
};

/// A complete platform without side effects. Property lists are pure, so the real implementation is used.
struct MemoryPlatform {
  explicit MemoryPlatform(PropertyListSerialization& serialization) : propertyLists(serialization) {}

  /// Borrows from this object.
  [[nodiscard]] Platform platform() {
    return {propertyLists, fileManager, collator, uuidSource, systemLog, bundle, workspace, clock};
  }

  PropertyListSerialization& propertyLists;
  MemoryFileManager fileManager;
  MemoryCollator collator;
  MemoryUuidSource uuidSource;
  MemorySystemLog systemLog;
  MemoryBundle bundle;
  MemoryWorkspace workspace;
  VirtualTime time;
  MemoryClock clock{time};
};

}  // namespace tarvel
