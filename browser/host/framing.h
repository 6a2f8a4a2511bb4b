#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarvel {

/// The largest message taken from a browser, which is also the most that one of them sends.
inline constexpr std::size_t kLargestMessage = std::size_t{64} << 20;
/// Bytes that stay reserved behind a message, so that the JSON reader can look ahead without a copy.
inline constexpr std::size_t kMessagePadding = 64;

enum class FrameStatus {
  kMessage,   ///< `bytes` holds a message.
  kEnd,       ///< End of input between two messages.
  kCutOff,    ///< End of input, or an error, within a message.
  kTooLarge,  ///< The announced length is above kLargestMessage; nothing of the message was read.
};

struct Frame {
  FrameStatus status = FrameStatus::kEnd;
  std::string bytes;
};

/// Reads one native message: its length as 32 bits in the machine's byte order, then so many bytes. Memory grows with
/// the bytes that arrive, not with the length announced.
[[nodiscard]] Frame readFrame(int descriptor);

/// Writes one message. False when the other side is gone.
[[nodiscard]] bool writeFrame(int descriptor, std::string_view message);

}  // namespace tarvel
