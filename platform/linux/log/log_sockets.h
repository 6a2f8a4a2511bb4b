#pragma once

#include <string>
#include <string_view>

// Internal to platform/linux.
namespace tarvel {

// The libraries' functions for these sockets block while the receiver does not read. These never block: a message that
// cannot be sent at once is dropped. Both return whether the message was sent.

/// Sends one record of any size and bytes to the journal at `socket`, at priority notice, as `identifier`.
[[nodiscard]] bool sendToJournal(const std::string& socket, const std::string& identifier, std::string_view message);

/// Sends one line to the log at `socket`. Zero bytes become question marks, and a very long text is cut, with the
/// number of missing bytes.
[[nodiscard]] bool sendToSyslog(const std::string& socket, const std::string& identifier, std::string_view message);

}  // namespace tarvel
