#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "engine/sort_observer.h"

namespace tarvel {

/// How far a piece of work has come. Told by the thread that works, asked by another one.
class Progress final : public StageObserver {
 public:
  void stageBegan(SortStage stage) override;
  void entriesPassed(std::size_t count) override;

  [[nodiscard]] SortStage stage() const { return stage_.load(std::memory_order_relaxed); }
  /// Since the file was read; of cleaning or ordering, whichever it is at, else 0.
  [[nodiscard]] std::size_t entries() const;

 private:
  // Everything begins with reading.
  std::atomic<SortStage> stage_{SortStage::kReading};
  std::atomic<std::size_t> cleaned_{0};
  std::atomic<std::size_t> ordered_{0};
};

/// The line of a terminal that shows progress: when to draw it, what with, and how it goes away again. Knows no clock
/// and no terminal, so that both can be anything.
class ProgressLine {
 public:
  /// Nothing is drawn in the first half second: most work is done by then.
  static constexpr std::chrono::milliseconds kDelay{500};
  /// Between two drawings.
  static constexpr std::chrono::milliseconds kPause{100};

  explicit ProgressLine(std::chrono::nanoseconds begin) : begin_(begin) {}

  /// What to write to a terminal of `columns` now, without a line break; none when there is nothing to draw yet, or
  /// nothing new.
  [[nodiscard]] std::optional<std::string> draw(const Progress& progress, std::chrono::nanoseconds now,
                                                std::size_t columns);
  /// What to write so that nothing is left of it; empty when nothing was drawn.
  [[nodiscard]] std::string erase();

 private:
  std::chrono::nanoseconds begin_;
  std::optional<std::chrono::nanoseconds> lastDrawn_;
  std::string shown_;
};

}  // namespace tarvel
