#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace tarvel {

struct DownloadTerms {
  std::chrono::milliseconds connecting{10'000};
  std::chrono::milliseconds altogether{60'000};
  /// Of what arrives, once decompressed.
  std::size_t bytes = std::size_t{1024} * 1024;
  int redirects = 5;
  /// A file of certificates that are trusted instead of the system's; empty for the system's.
  std::string certificates;
};

struct Download {
  std::string body;
  /// Why there is no body; empty when there is one.
  std::string fault;
};

/// Fetches a feed: over TLS 1.2 or newer from a server that proves its name. Unencrypted only from this very machine,
/// and never after a redirection from an encrypted address. The server gets neither cookies nor passwords. Proxies are
/// those of the environment, and none on the way to this machine.
[[nodiscard]] Download downloadFeed(const std::string& address, const DownloadTerms& terms);

}  // namespace tarvel
