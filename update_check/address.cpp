#include "update_check/address.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <strings.h>

#include <memory>

namespace tarvel {

namespace {

class Parts {
 public:
  Parts(const std::string& address, unsigned flags) : url_(curl_url(), curl_url_cleanup) {
    isGood_ = url_ && curl_url_set(url_.get(), CURLUPART_URL, address.c_str(), flags) == CURLUE_OK;
  }

  /// Empty if the part is missing.
  [[nodiscard]] std::string get(CURLUPart part) const {
    char* text = nullptr;
    if (!isGood_ || curl_url_get(url_.get(), part, &text, 0) != CURLUE_OK) return {};
    std::string copy(text);
    curl_free(text);
    return copy;
  }
  [[nodiscard]] bool has(CURLUPart part) const {
    char* text = nullptr;
    const bool isThere = isGood_ && curl_url_get(url_.get(), part, &text, 0) == CURLUE_OK;
    curl_free(text);
    return isThere;
  }

 private:
  std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url_;
  bool isGood_ = false;
};

bool isLoopbackNumber(const std::string& host) {
  in_addr number{};
  constexpr unsigned kFirstOfFour = 24;
  constexpr unsigned kLoopback = 127;
  // Only complete numeric addresses count; anything else would be resolved by DNS and could be any host.
  return ::inet_pton(AF_INET, host.c_str(), &number) == 1 && ntohl(number.s_addr) >> kFirstOfFour == kLoopback;
}

bool isThisMachine(const std::string& host) {
  return ::strcasecmp(host.c_str(), "localhost") == 0 || host == "[::1]" || isLoopbackNumber(host);
}

/// Applied to malformed addresses too, as error messages contain the address.
bool namesUser(const std::string& address) {
  const Parts parts(address, CURLU_GUESS_SCHEME | CURLU_NON_SUPPORT_SCHEME);
  return parts.has(CURLUPART_USER) || parts.has(CURLUPART_PASSWORD);
}

}  // namespace

FeedAddress examinedAddress(const std::string& address, bool mustBeEncrypted) {
  if (namesUser(address)) return {false, false, "The address holds a user's name or password."};
  const Parts parts(address, 0);
  const std::string scheme = parts.get(CURLUPART_SCHEME);
  FeedAddress result{scheme == "https", isThisMachine(parts.get(CURLUPART_HOST)), {}};
  if (result.isEncrypted) return result;
  if (scheme != "http") {
    result.objection = "The address is neither https nor http: " + address;
  } else if (mustBeEncrypted) {
    result.objection = "An encrypted address leads to one that is not: " + address;
  } else if (!result.isLoopback) {
    result.objection = "The address is not encrypted: " + address;
  }
  return result;
}

}  // namespace tarvel
