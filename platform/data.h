#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarvel {

/// Immutable bytes with shared ownership. Empty by default.
class Data {
 public:
  Data() = default;
  /// `size` bytes at `bytes`, which this keeps alive.
  Data(std::shared_ptr<const std::uint8_t> bytes, std::size_t size) : bytes_(std::move(bytes)), size_(size) {}

  /// A copy of the bytes of `text`.
  [[nodiscard]] static Data copyOf(std::string_view text) {
    auto owner = std::make_shared<std::string>(text);
    const auto* first = reinterpret_cast<const std::uint8_t*>(owner->data());  // NOLINT: chars read as bytes
    return {std::shared_ptr<const std::uint8_t>(owner, first), text.size()};
  }

  /// Valid while this object or a copy of it exists.
  [[nodiscard]] std::span<const std::uint8_t> bytes() const { return {bytes_.get(), size_}; }
  /// In bytes.
  [[nodiscard]] std::size_t size() const { return size_; }

 private:
  std::shared_ptr<const std::uint8_t> bytes_;
  std::size_t size_ = 0;
};

/// Bytes to write, as an ordered list of pieces, so that unchanged ranges of a file are not copied. `owners` keeps the
/// memory of the pieces alive.
struct DataPieces {
  std::deque<std::span<const std::uint8_t>> pieces;  ///< In order.
  std::vector<std::shared_ptr<const void>> owners;   ///< Keep the pieces' memory alive.

  /// Total size in bytes.
  [[nodiscard]] std::size_t size() const {
    std::size_t total = 0;
    for (const auto& piece : pieces) total += piece.size();
    return total;
  }

  /// All pieces in one string.
  [[nodiscard]] std::string joined() const {
    std::string all;
    all.reserve(size());
    for (const auto& piece : pieces) {
      all.append(reinterpret_cast<const char*>(piece.data()), piece.size());  // NOLINT: bytes read as chars
    }
    return all;
  }
};

}  // namespace tarvel
