#include "update_check/download.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>

#include "update_check/address.h"

namespace tarvel {

namespace {

using Clock = std::chrono::steady_clock;
using EasyHandle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

constexpr long kFound = 200;
constexpr long kFirstRedirect = 300;
constexpr long kFirstFault = 400;

struct Receiver {
  std::string body;
  std::size_t most = 0;
};

std::size_t receive(char* bytes, std::size_t size, std::size_t count, void* to) {
  auto& receiver = *static_cast<Receiver*>(to);
  const std::size_t arrived = size * count;
  // A short count aborts the transfer.
  if (receiver.body.size() + arrived > receiver.most) return 0;
  receiver.body.append(bytes, arrived);
  return arrived;
}

void configure(CURL* handle, const std::string& address, const DownloadTerms& terms, std::chrono::milliseconds left,
               Receiver& receiver) {
  const auto set = [handle](CURLoption option, auto value) { (void)curl_easy_setopt(handle, option, value); };
  set(CURLOPT_URL, address.c_str());
  set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::min(terms.connecting, left).count()));
  set(CURLOPT_TIMEOUT_MS, static_cast<long>(left.count()));
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  set(CURLOPT_ACCEPT_ENCODING, "");
  set(CURLOPT_USERAGENT, "tarvel-update-check/" TARVEL_VERSION);
  set(CURLOPT_WRITEFUNCTION, receive);
  set(CURLOPT_WRITEDATA, static_cast<void*>(&receiver));
  if (terms.certificates.empty()) return;
  set(CURLOPT_CAINFO, terms.certificates.c_str());
  set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
}

/// The target of a redirect; empty if there is none.
std::string redirectionOf(CURL* handle) {
  char* address = nullptr;
  if (curl_easy_getinfo(handle, CURLINFO_REDIRECT_URL, &address) != CURLE_OK || address == nullptr) return {};
  return address;
}

}  // namespace

Download downloadFeed(const std::string& address, const DownloadTerms& terms) {
  const auto end = Clock::now() + terms.altogether;
  std::string current = address;
  bool wasEncrypted = false;
  for (int redirects = 0; redirects <= terms.redirects; ++redirects) {
    FeedAddress place = examinedAddress(current, wasEncrypted);
    if (!place.objection.empty()) return {{}, std::move(place.objection)};
    wasEncrypted |= place.isEncrypted;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    const EasyHandle handle(curl_easy_init(), curl_easy_cleanup);
    if (!handle || left.count() <= 0) return {{}, "The time is over."};
    Receiver receiver{{}, terms.bytes};
    configure(handle.get(), current, terms, left, receiver);
    // Connections to this machine never use a proxy, whatever the environment says.
    if (place.isLoopback) (void)curl_easy_setopt(handle.get(), CURLOPT_PROXY, "");
    const CURLcode code = curl_easy_perform(handle.get());
    if (code == CURLE_WRITE_ERROR) return {{}, "The feed is too large."};
    if (code != CURLE_OK) return {{}, curl_easy_strerror(code)};
    long status = 0;
    (void)curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &status);
    if (status == kFound) return {std::move(receiver.body), {}};
    current = redirectionOf(handle.get());
    const bool isRedirect = status >= kFirstRedirect && status < kFirstFault && !current.empty();
    if (!isRedirect) return {{}, "The server answered with " + std::to_string(status) + "."};
  }
  return {{}, "The address leads from one to the next for ever."};
}

}  // namespace tarvel
