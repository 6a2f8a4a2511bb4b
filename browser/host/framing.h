#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarvel {

/// The largest message that is read; Chromium sends no larger ones.
inline constexpr std::size_t kLargestMessage = std::size_t{64} << 20;
/// Bytes reserved behind a message, so that the JSON reader can read ahead without a copy.
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

/// Reads one native message: its length as 32 bits in the machine's byte order, then its bytes. Memory grows with the
/// bytes received, not with the announced length.
[[nodiscard]] Frame readFrame(int descriptor);

/// Writes one message. False if the other side has closed the connection.
[[nodiscard]] bool writeFrame(int descriptor, std::string_view message);

}  // namespace tarvel
