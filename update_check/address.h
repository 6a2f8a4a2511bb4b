#pragma once

#include <string>

namespace tarvel {

/// What an address of a feed tells before anybody is asked.
struct FeedAddress {
  bool isEncrypted = false;
  /// It leads to this very machine: "localhost", 127.0.0.0/8 in four numbers, or ::1.
  bool isLoopback = false;
  /// Why nothing is fetched from there; empty when something may be.
  std::string objection;
};

/// Takes an address apart. Only https, and http to this very machine, are fetched from, and http not at all where
/// `mustBeEncrypted`. An address with a user's name or password is refused, and no objection repeats either.
[[nodiscard]] FeedAddress examinedAddress(const std::string& address, bool mustBeEncrypted);

}  // namespace tarvel
