#include "platform/memory/memory_event_stream.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <sstream>
#include <utility>

namespace tarvel {

namespace {

constexpr std::size_t kLargestBatch = 256;

std::string creationText(const std::string& path, double latency) {
  std::ostringstream text;
  text << "create " << path << " " << latency;
  return text.str();
}

}  // namespace

class MemoryEventStreamService::Stream final : public EventStream {
 public:
  Stream(MemoryEventStreamService& service, std::shared_ptr<EventStreamClient> client, std::string path, double latency)
      : service_(service), client_(std::move(client)), path_(std::move(path)), latency_(std::llround(latency * 1e9)) {
    service_.streams_.push_back(this);
  }
  ~Stream() override {
    cease();
    service_.calls_.emplace_back("release");
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  bool start() override {
    service_.calls_.emplace_back("start");
    if (!service_.startWorks_ || isInvalid_) return false;
    isRunning_ = true;
    arm();
    return true;
  }

  void stop() override {
    service_.calls_.emplace_back("stop");
    isRunning_ = false;
    disarm();
  }

  void invalidate() override {
    service_.calls_.emplace_back("invalidate");
    cease();
  }

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] bool isRunning() const { return isRunning_; }

  void note(std::uint32_t flags, std::uint64_t id) {
    if (flags_.size() == kLargestBatch) {
      flags_.back() |= flags | kEventFlagMustScanSubDirs;
      ids_.back() = id;
    } else {
      flags_.push_back(flags);
      ids_.push_back(id);
    }
    if (isRunning_) arm();
  }

  void deliver(const std::vector<std::uint32_t>& flags, const std::vector<std::uint64_t>& ids) {
    // The client may destroy the stream, and with it the stream's hold on the client.
    const std::shared_ptr<EventStreamClient> client = client_;
    client->receiveBatch({flags, ids});
  }

 private:
  void arm() {
    if (call_ || flags_.empty()) return;
    call_ = service_.runLoop_.callAfter(latency_, [this] {
      call_.reset();
      const auto flags = std::exchange(flags_, {});
      const auto ids = std::exchange(ids_, {});
      deliver(flags, ids);
    });
  }

  void disarm() {
    if (call_) service_.runLoop_.cancelCall(*std::exchange(call_, std::nullopt));
  }

  void cease() {
    isRunning_ = false;
    isInvalid_ = true;
    disarm();
    std::erase(service_.streams_, this);
  }

  MemoryEventStreamService& service_;
  std::shared_ptr<EventStreamClient> client_;
  std::string path_;
  std::chrono::nanoseconds latency_;
  std::vector<std::uint32_t> flags_;
  std::vector<std::uint64_t> ids_;
  std::optional<std::uint64_t> call_;
  bool isRunning_ = false;
  bool isInvalid_ = false;
};

std::unique_ptr<EventStream> MemoryEventStreamService::createStream(std::shared_ptr<EventStreamClient> client,
                                                                    const std::string& path, std::uint64_t sinceWhen,
                                                                    double latency, std::uint32_t flags) {
  calls_.push_back(creationText(path, latency));
  lastSinceWhen_ = sinceWhen;
  lastFlags_ = flags;
  if (!creationWorks_ || path.empty()) return nullptr;
  return std::make_unique<Stream>(*this, std::move(client), path, latency);
}

void MemoryEventStreamService::post(const std::string& path, std::uint32_t flags) {
  ++lastId_;
  for (Stream* stream : streams_) {
    if (stream->path() == path) stream->note(flags, lastId_);
  }
}

void MemoryEventStreamService::deliver(const std::vector<std::uint32_t>& flags, const std::vector<std::uint64_t>& ids) {
  // A client may remove its stream in the callback.
  const std::vector<Stream*> listening = streams_;
  for (Stream* stream : listening) {
    if (std::ranges::find(streams_, stream) != streams_.end() && stream->isRunning()) stream->deliver(flags, ids);
  }
}

}  // namespace tarvel
