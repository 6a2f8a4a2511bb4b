// Limits that would take a minute to reach, drawn closer.

#include "update_check/download.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

namespace tarvel {
namespace {

/// Listens on this machine and answers with one byte at a time, for ever.
class DrippingServer {
 public:
  DrippingServer() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);  // NOLINT: the interface of sockets
    if (::bind(socket_, plain, size) != 0 || ::listen(socket_, 4) != 0) return;
    (void)::getsockname(socket_, plain, &size);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { drip(); });
  }
  ~DrippingServer() {
    isOver_ = true;
    (void)::shutdown(socket_, SHUT_RDWR);
    if (thread_.joinable()) thread_.join();
    ::close(socket_);
  }
  DrippingServer(const DrippingServer&) = delete;
  DrippingServer& operator=(const DrippingServer&) = delete;

  [[nodiscard]] std::string address() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }

 private:
  void drip() {
    const int peer = ::accept(socket_, nullptr, nullptr);
    const std::string head = "HTTP/1.1 200 OK\r\n\r\n";
    (void)::send(peer, head.data(), head.size(), MSG_NOSIGNAL);
    while (!isOver_ && ::send(peer, "x", 1, MSG_NOSIGNAL) == 1)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ::close(peer);
  }

  int socket_;
  int port_ = 0;
  std::atomic<bool> isOver_ = false;
  std::thread thread_;
};

TEST(Download, AServerThatDripsForEverIsGivenUpWhenTheTimeIsOver) {
  const DrippingServer server;
  DownloadLimits limits;
  limits.altogether = std::chrono::milliseconds(300);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_NE(downloadFeed(server.address(), limits).fault, "");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(Download, MoreBytesThanAllowedAreNotWaitedFor) {
  const DrippingServer server;
  DownloadLimits limits;
  limits.bytes = 10;
  EXPECT_EQ(downloadFeed(server.address(), limits).fault, "The feed is too large.");
}

TEST(Download, OnlyEncryptedAddressesAndThisVeryMachineAreAsked) {
  for (const char* address : {"http://example.org/", "http://127.0.0.1.example.org/", "http://127.0.0.1@example.org/",
                              "ftp://127.0.0.1/", "file:///etc/passwd", "gopher://localhost/", "", "nonsense",
                              "http://", "//localhost/", "http://localhost.example.org/"}) {
    EXPECT_NE(downloadFeed(address, {}).fault, "") << address;
    EXPECT_EQ(downloadFeed(address, {}).body, "") << address;
  }
}

}  // namespace
}  // namespace tarvel
