#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "tests/support/linux_stream.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {

inline constexpr double kSituationLatency = 0.03;
/// Long enough for several batches, if there were events.
inline constexpr std::chrono::milliseconds kQuietTime{200};

/// A stream with its own run loop.
struct Situation : RealLoop {
  [[nodiscard]] bool watch(const std::string& path) {
    stream = service.createStream(client, path, kEventStreamEventIdSinceNow, kSituationLatency,
                                  kEventStreamCreateFlagUseCFTypes);
    const bool isRunning = stream && stream->start();
    turnFor(std::chrono::milliseconds(10));
    return isRunning;
  }

  /// Whether anything was reported; returns once all pending events have been delivered.
  [[nodiscard]] bool isReported() {
    const bool wasReported = turnUntil([this] { return !client->batches.empty(); });
    turnFor(std::chrono::milliseconds(60));
    return wasReported;
  }
  [[nodiscard]] bool isReportedWith(std::uint32_t flags) {
    return turnUntil([&] { return !client->batches.empty() && (client->flags() & flags) == flags; });
  }
  [[nodiscard]] bool isQuiet() {
    turnFor(kQuietTime);
    return client->batches.empty();
  }
  void forget() {
    turnFor(kQuietTime);
    client->batches.clear();
  }

  LinuxEventStreamService service{*loop};
  std::shared_ptr<RecordingClient> client = std::make_shared<RecordingClient>();
  std::unique_ptr<EventStream> stream;
};

struct StreamSituation : testing::Test, Situation {
  StreamSituation() {
    std::filesystem::create_directories(folder);
    write("Bookmarks.plist");
  }

  void write(const std::string& name, const std::string& text = "x") const {
    std::ofstream(folder + "/" + name) << text;
  }
  [[nodiscard]] std::string file() const { return folder + "/Bookmarks.plist"; }
  void watch() { ASSERT_TRUE(Situation::watch(folder)); }
  void watch(const std::string& path) { ASSERT_TRUE(Situation::watch(path)); }

  TemporaryDirectory directory;
  std::string folder = directory.path("Library/Safari");
};

}  // namespace tarvel
