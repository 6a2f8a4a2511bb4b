// Downloads with short limits.

#include "update_check/download.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace tarvel {
namespace {

using std::chrono::milliseconds;

/// A server on this machine that handles connections one after the other with a given function.
class LoopbackServer {
 public:
  using Treatment = std::function<void(LoopbackServer& server, int peer)>;

  explicit LoopbackServer(Treatment treatment)
      : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), treatment_(std::move(treatment)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);  // NOLINT: the interface of sockets
    if (::bind(socket_, plain, size) != 0 || ::listen(socket_, 4) != 0) return;
    (void)::getsockname(socket_, plain, &size);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~LoopbackServer() {
    isOver_ = true;
    (void)::shutdown(socket_, SHUT_RDWR);
    if (thread_.joinable()) thread_.join();
    ::close(socket_);
  }
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  [[nodiscard]] std::string address() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }
  [[nodiscard]] bool isOver() const { return isOver_; }
  [[nodiscard]] int visits() const { return visits_; }
  /// False once the peer hung up.
  static bool say(int peer, const std::string& text) {
    return ::send(peer, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
  }

 private:
  void serve() {
    while (!isOver_) {
      const int peer = ::accept(socket_, nullptr, nullptr);
      if (peer < 0) return;
      ++visits_;
      treatment_(*this, peer);
      ::close(peer);
    }
  }

  int socket_;
  Treatment treatment_;
  int port_ = 0;
  std::atomic<int> visits_ = 0;
  std::atomic<bool> isOver_ = false;
  std::thread thread_;
};

void pauseShortly() { std::this_thread::sleep_for(milliseconds(5)); }

/// Sends one byte at a time, without end.
void drip(LoopbackServer& server, int peer) {
  (void)LoopbackServer::say(peer, "HTTP/1.1 200 OK\r\n\r\n");
  while (!server.isOver() && LoopbackServer::say(peer, "x")) pauseShortly();
}

void keepSilent(LoopbackServer& server, int peer) {
  char byte = 0;
  while (!server.isOver() && ::recv(peer, &byte, 1, MSG_DONTWAIT) != 0) pauseShortly();
}

/// The error of a download that may take a quarter of a second.
std::string faultInAQuarterOfASecond(const LoopbackServer& server) {
  DownloadTerms terms;
  terms.altogether = milliseconds(250);
  // Never reached within the time.
  terms.redirects = 1'000'000;
  const auto start = std::chrono::steady_clock::now();
  const Download download = downloadFeed(server.address(), terms);
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(240));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(download.body, "");
  return download.fault;
}

TEST(Download, ASlowServerTimesOut) {
  const LoopbackServer server(drip);
  EXPECT_NE(faultInAQuarterOfASecond(server), "");
}

TEST(Download, ASilentServerTimesOut) {
  const LoopbackServer server(keepSilent);
  EXPECT_NE(faultInAQuarterOfASecond(server), "");
}

TEST(Download, TheTimeIsForAllRedirectionsTogether) {
  const LoopbackServer server([](LoopbackServer& self, int peer) {
    std::this_thread::sleep_for(milliseconds(50));
    char request[1024];
    (void)::recv(peer, request, sizeof request, 0);
    (void)LoopbackServer::say(
        peer, "HTTP/1.1 302 On\r\nContent-Length: 0\r\nConnection: close\r\nLocation: " + self.address() + "\r\n\r\n");
  });
  EXPECT_NE(faultInAQuarterOfASecond(server), "");
  EXPECT_GE(server.visits(), 1);
}

TEST(Download, AnOversizedBodyIsAborted) {
  const LoopbackServer server(drip);
  DownloadTerms terms;
  terms.bytes = 10;
  EXPECT_EQ(downloadFeed(server.address(), terms).fault, "The feed is too large.");
}

TEST(Download, WithoutTimeNothingIsFetched) {
  const LoopbackServer server(drip);
  DownloadTerms terms;
  terms.altogether = milliseconds(0);
  EXPECT_EQ(downloadFeed(server.address(), terms).fault, "The time is over.");
  EXPECT_EQ(server.visits(), 0);
}

TEST(Download, ARejectedAddressIsNotContacted) {
  const LoopbackServer server(drip);
  const std::string place = server.address().substr(std::string("http://").size());
  for (const std::string& address : {"http://user:secret@" + place, "ftp://" + place, "http://127.999.0.1/" + place}) {
    EXPECT_EQ(downloadFeed(address, {}).fault.substr(0, 12), "The address ") << address;
  }
  EXPECT_EQ(server.visits(), 0);
}

}  // namespace
}  // namespace tarvel
