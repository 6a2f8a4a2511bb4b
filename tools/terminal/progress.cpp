#include "tools/terminal/progress.h"

#include <utility>

namespace tarvel {

namespace {

/// To the first column, then erase to the right.
constexpr const char* kErase = "\r\x1B[K";

/// ASCII only, so that bytes are columns.
std::string grouped(std::size_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, ",");
  return digits;
}

std::string nameOf(SortStage stage) {
  switch (stage) {
    case SortStage::kWaiting:
      return "Waiting for the browser to let go of the file";
    case SortStage::kReading:
      return "Reading";
    case SortStage::kCleaning:
      return "Cleaning";
    case SortStage::kOrdering:
      return "Ordering";
    case SortStage::kWriting:
      return "Writing";
  }
  return {};
}

std::string textOf(const Progress& progress, std::chrono::nanoseconds elapsed) {
  std::string text = nameOf(progress.stage());
  if (const std::size_t entries = progress.entries(); entries > 0) text += ", " + grouped(entries) + " entries so far";
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
  if (seconds > 0) text += " (" + std::to_string(seconds) + " s)";
  return text;
}

}  // namespace

void Progress::stageBegan(SortStage stage) {
  if (stage == SortStage::kReading) {
    cleaned_.store(0, std::memory_order_relaxed);
    ordered_.store(0, std::memory_order_relaxed);
  }
  stage_.store(stage, std::memory_order_relaxed);
}

void Progress::entriesPassed(std::size_t count) {
  // Only one thread writes, so no lock is needed.
  std::atomic<std::size_t>& passed = stage() == SortStage::kCleaning ? cleaned_ : ordered_;
  passed.store(passed.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
}

std::size_t Progress::entries() const {
  switch (stage()) {
    case SortStage::kCleaning:
      return cleaned_.load(std::memory_order_relaxed);
    case SortStage::kOrdering:
      return ordered_.load(std::memory_order_relaxed);
    default:
      return 0;
  }
}

std::optional<std::string> ProgressLine::draw(const Progress& progress, std::chrono::nanoseconds now,
                                              std::size_t columns) {
  if (now - begin_ < kDelay || (lastDrawn_ && now - *lastDrawn_ < kPause)) return std::nullopt;
  std::string text = textOf(progress, now - begin_);
  // Some terminals wrap when the last column is written.
  if (columns > 0 && text.size() >= columns) text.resize(columns - 1);
  if (lastDrawn_ && text == shown_) return std::nullopt;
  lastDrawn_ = now;
  shown_ = text;
  return kErase + std::move(text);
}

std::string ProgressLine::erase() {
  if (!lastDrawn_ || shown_.empty()) return {};
  shown_.clear();
  return kErase;
}

}  // namespace tarvel
