#pragma once

#include <string>

namespace tarvel {

/// The properties of a feed's address that are known before a connection.
struct FeedAddress {
  bool isEncrypted = false;
  /// The address is this machine's: "localhost", 127.0.0.0/8 in numbers, or ::1.
  bool isLoopback = false;
  /// Why the address is rejected; empty if it is accepted.
  std::string objection;
};

/// Parses and checks an address. Accepted are https, and http to this machine unless `mustBeEncrypted`. An address with
/// a user name or password is rejected, and the objection does not contain them.
[[nodiscard]] FeedAddress examinedAddress(const std::string& address, bool mustBeEncrypted);

}  // namespace tarvel
