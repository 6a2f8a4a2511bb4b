#include "update_check/download.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <string_view>

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
  // An answer of another length ends the transfer.
  if (receiver.body.size() + arrived > receiver.most) return 0;
  receiver.body.append(bytes, arrived);
  return arrived;
}

std::string partOf(const std::string& address, CURLUPart part) {
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), curl_url_cleanup);
  char* text = nullptr;
  if (!url || curl_url_set(url.get(), CURLUPART_URL, address.c_str(), 0) != CURLUE_OK ||
      curl_url_get(url.get(), part, &text, 0) != CURLUE_OK) {
    return {};
  }
  std::string copy(text);
  curl_free(text);
  return copy;
}

/// 127.0.0.0/8 in its usual spelling only.
bool isLoopbackNumber(std::string_view host) {
  return host.starts_with("127.") && std::ranges::count(host, '.') == 3 &&
         host.find_first_not_of("0123456789.") == std::string_view::npos;
}

bool isThisMachine(const std::string& host) { return host == "localhost" || host == "[::1]" || isLoopbackNumber(host); }

/// What is wrong with fetching from there; empty when nothing is.
std::string objectionTo(const std::string& address, bool wasEncrypted) {
  const std::string scheme = partOf(address, CURLUPART_SCHEME);
  if (scheme == "https") return {};
  if (scheme != "http") return "The address is neither https nor http: " + address;
  if (wasEncrypted) return "An encrypted address leads to one that is not: " + address;
  return isThisMachine(partOf(address, CURLUPART_HOST)) ? std::string() : "The address is not encrypted: " + address;
}

void configure(CURL* handle, const std::string& address, const DownloadLimits& limits, std::chrono::milliseconds left,
               Receiver& receiver) {
  const auto set = [handle](CURLoption option, auto value) { (void)curl_easy_setopt(handle, option, value); };
  set(CURLOPT_URL, address.c_str());
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::min(limits.connecting, left).count()));
  set(CURLOPT_TIMEOUT_MS, static_cast<long>(left.count()));
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  set(CURLOPT_ACCEPT_ENCODING, "");
  set(CURLOPT_USERAGENT, "tarvel-update-check/" TARVEL_VERSION);
  set(CURLOPT_WRITEFUNCTION, receive);
  set(CURLOPT_WRITEDATA, static_cast<void*>(&receiver));
}

/// Where a redirection leads; empty for none.
std::string redirectionOf(CURL* handle) {
  char* address = nullptr;
  if (curl_easy_getinfo(handle, CURLINFO_REDIRECT_URL, &address) != CURLE_OK || address == nullptr) return {};
  return address;
}

}  // namespace

Download downloadFeed(const std::string& address, const DownloadLimits& limits) {
  const auto end = Clock::now() + limits.altogether;
  std::string current = address;
  bool wasEncrypted = false;
  for (int redirects = 0; redirects <= limits.redirects; ++redirects) {
    if (std::string objection = objectionTo(current, wasEncrypted); !objection.empty())
      return {{}, std::move(objection)};
    wasEncrypted |= partOf(current, CURLUPART_SCHEME) == "https";
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    const EasyHandle handle(curl_easy_init(), curl_easy_cleanup);
    if (!handle || left.count() <= 0) return {{}, "The time is over."};
    Receiver receiver{{}, limits.bytes};
    configure(handle.get(), current, limits, left, receiver);
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
