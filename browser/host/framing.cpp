#include "browser/host/framing.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdint>

namespace tarvel {

namespace {

constexpr std::size_t kReadStep = std::size_t{1} << 20;
using Length = std::array<char, sizeof(std::uint32_t)>;

/// Reads until `size` bytes have arrived or the input ends. Returns the number of bytes.
std::size_t readFully(int descriptor, char* to, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = ::read(descriptor, to + done, size - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

bool writeFully(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

Frame readFrame(int descriptor) {
  Length prefix;
  const std::size_t prefixSize = readFully(descriptor, prefix.data(), prefix.size());
  if (prefixSize == 0) return {FrameStatus::kEnd, {}};
  if (prefixSize < prefix.size()) return {FrameStatus::kCutOff, {}};
  const std::size_t size = std::bit_cast<std::uint32_t>(prefix);
  if (size > kLargestMessage) return {FrameStatus::kTooLarge, {}};
  Frame frame{FrameStatus::kMessage, {}};
  while (frame.bytes.size() < size) {
    const std::size_t before = frame.bytes.size();
    const std::size_t step = std::min(kReadStep, size - before);
    if (frame.bytes.capacity() < before + step + kMessagePadding) {
      frame.bytes.reserve(std::min(size, 2 * before + step) + kMessagePadding);
    }
    frame.bytes.resize(before + step);
    if (readFully(descriptor, frame.bytes.data() + before, step) < step) return {FrameStatus::kCutOff, {}};
  }
  return frame;
}

bool writeFrame(int descriptor, std::string_view message) {
  const auto prefix = std::bit_cast<Length>(static_cast<std::uint32_t>(message.size()));
  return writeFully(descriptor, {prefix.data(), prefix.size()}) && writeFully(descriptor, message);
}

}  // namespace tarvel
