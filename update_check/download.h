#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace tarvel {

struct DownloadTerms {
  std::chrono::milliseconds connecting{10'000};
  std::chrono::milliseconds altogether{60'000};
  /// Maximum size of the decompressed body.
  std::size_t bytes = std::size_t{1024} * 1024;
  int redirects = 5;
  /// A file of trusted certificates instead of the system's; empty for the system's.
  std::string certificates;
};

struct Download {
  std::string body;
  /// The error; empty on success.
  std::string fault;
};

/// Downloads a feed over TLS 1.2 or newer with certificate verification. Plain http is accepted from this machine only,
/// and never after a redirect from https. Sends no cookies and no credentials. Uses the proxies of the environment,
/// except for this machine.
[[nodiscard]] Download downloadFeed(const std::string& address, const DownloadTerms& terms);

}  // namespace tarvel
