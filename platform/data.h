#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarvel {

/// Bytes with shared ownership, immutable once made. A default one is empty.
class Data {
 public:
  Data() = default;
  /// `size` bytes from where `bytes` points, which it keeps alive.
  Data(std::shared_ptr<const std::uint8_t> bytes, std::size_t size) : bytes_(std::move(bytes)), size_(size) {}

  /// The bytes of `text`, copied.
  [[nodiscard]] static Data copyOf(std::string_view text) {
    auto owner = std::make_shared<std::string>(text);
    const auto* first = reinterpret_cast<const std::uint8_t*>(owner->data());  // NOLINT: chars read as bytes
    return {std::shared_ptr<const std::uint8_t>(owner, first), text.size()};
  }

  /// Valid while this or a copy of it lives.
  [[nodiscard]] std::span<const std::uint8_t> bytes() const { return {bytes_.get(), size_}; }
  /// In bytes.
  [[nodiscard]] std::size_t size() const { return size_; }

 private:
  std::shared_ptr<const std::uint8_t> bytes_;
  std::size_t size_ = 0;
};

/// Bytes to be written, as pieces in order, so that unchanged stretches of a file need no copy.
/// `owners` keeps alive what the pieces point into.
struct DataPieces {
  std::vector<std::span<const std::uint8_t>> pieces;  ///< One after the other.
  std::vector<std::shared_ptr<const void>> owners;    ///< Of what the pieces point into.

  /// Of all pieces together, in bytes.
  [[nodiscard]] std::size_t size() const {
    std::size_t total = 0;
    for (const auto& piece : pieces) total += piece.size();
    return total;
  }

  /// One copy of everything, for callers that need it whole.
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
