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

/// Orders titles by their bytes, ASCII letters without case: good enough to see the rules around it work.
class MemoryCollator final : public Collator {
 public:
  [[nodiscard]] std::vector<std::uint32_t> rank(std::span<const std::string_view> titles) override;
};

/// Sleeping lets virtual time pass, and is noted.
class MemoryClock final : public Clock {
 public:
  /// `time` is borrowed.
  explicit MemoryClock(VirtualTime& time) : time_(time) {}

  void sleepFor(std::chrono::milliseconds duration) override;
  [[nodiscard]] std::chrono::nanoseconds monotonic() override { return time_.monotonic(); }
  [[nodiscard]] Date wallClock() override { return time_.wallClock(); }

  [[nodiscard]] const std::vector<std::chrono::milliseconds>& sleeps() const { return sleeps_; }
  /// They are counted from 1 again.
  void forgetSleeps() { std::vector<std::chrono::milliseconds>().swap(sleeps_); }
  /// Called in every sleep, with how many there have been, this one included.
  void setHook(std::function<void(std::size_t)> hook) { hook_ = std::move(hook); }

 private:
  VirtualTime& time_;
  std::vector<std::chrono::milliseconds> sleeps_;
  std::function<void(std::size_t)> hook_;
};

/// Keeps the lines.
class MemorySystemLog final : public SystemLog {
 public:
  void log(std::string_view message) override { lines_.emplace_back(message); }

  [[nodiscard]] const std::vector<std::string>& lines() const { return lines_; }
  void forgetLines() { std::vector<std::string>().swap(lines_); }

 private:
  std::vector<std::string> lines_;
};

/// Counts up instead of drawing at random; version and variant bits are those of a random UUID.
class MemoryUuidSource final : public UuidSource {
 public:
  [[nodiscard]] std::array<std::uint8_t, 16> createUuid() override;

 private:
  std::uint32_t count_ = 0;
};

/// A whole platform without the world. Property lists are pure, so the real ones are lent to it.
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
