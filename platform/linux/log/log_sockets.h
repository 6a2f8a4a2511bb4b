#pragma once

#include <string>
#include <string_view>

// Internal to platform/linux.
namespace tarvel {

// The libraries' ways to these two sockets wait where nobody reads them, and who logs must not wait. Here what cannot
// be taken at once is not sent. Both answer whether the message was taken.

/// One record of the journal that listens at `socket`, a notice under the name `identifier`, whatever bytes and however
/// many `message` has.
[[nodiscard]] bool sendToJournal(const std::string& socket, const std::string& identifier, std::string_view message);

/// One line for the log that listens at `socket`, likewise. It ends a text at a zero byte and takes no text of any
/// size: the one becomes a question mark, and of a very long text the beginning is sent, and how much is missing.
[[nodiscard]] bool sendToSyslog(const std::string& socket, const std::string& identifier, std::string_view message);

}  // namespace tarvel
