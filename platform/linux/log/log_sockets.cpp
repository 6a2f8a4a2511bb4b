#include "platform/linux/log/log_sockets.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>

#include "platform/linux/base/unique_fd.h"

namespace tarvel {

namespace {

/// In bytes; more does not fit every system's datagrams.
constexpr std::size_t kLongestLine = 60'000;

/// A new socket per message, as log daemons come and go. None if nothing listens or the queue is full.
UniqueFd connected(const std::string& path, int type) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return {};
  std::memcpy(address.sun_path, path.data(), path.size());
  UniqueFd socket(::socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const auto* plain = reinterpret_cast<const sockaddr*>(&address);  // NOLINT: the interface of sockets
  if (!socket || ::connect(socket.get(), plain, sizeof address) != 0) return {};
  return socket;
}

bool sendWhole(const UniqueFd& socket, std::string_view bytes) {
  return ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
         static_cast<ssize_t>(bytes.size());
}

void appendField(std::string& record, std::string_view name, std::string_view value) {
  record += name;
  if (value.find('\n') == std::string_view::npos) {
    record += '=';
  } else {
    // A multi-line value is preceded by its size as a 64-bit little-endian number.
    record += '\n';
    for (unsigned shift = 0; shift < 64; shift += 8) {
      record += static_cast<char>((static_cast<std::uint64_t>(value.size()) >> shift) & 0xFFU);
    }
  }
  record += value;
  record += '\n';
}

/// A message too large for a datagram is sent as a sealed file.
bool sendAsFile(const UniqueFd& socket, std::string_view bytes) {
  const UniqueFd file(::memfd_create("log-record", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (!file) return false;
  while (!bytes.empty()) {
    const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  if (::fcntl(file.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL) != 0) return false;
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> space{};
  msghdr message{};
  message.msg_control = space.data();
  message.msg_controllen = space.size();
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof(int));
  const int descriptor = file.get();
  std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  return ::sendmsg(socket.get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT) >= 0;
}

/// "Nov  1 08:05:09", in English regardless of the locale.
std::string timeOfLine() {
  constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  char text[32] = {};
  if (::localtime_r(&now, &parts) == nullptr) return {};
  (void)std::strftime(text, sizeof text, " %e %H:%M:%S", &parts);
  return kMonths.at(static_cast<std::size_t>(parts.tm_mon)) + std::string(text);
}

std::string lineOf(std::string_view message) {
  std::size_t size = std::min(message.size(), kLongestLine);
  // Never cut inside a character.
  while (size > 0 && size < message.size() && (static_cast<unsigned char>(message[size]) & 0xC0U) == 0x80U) --size;
  std::string line(message.substr(0, size));
  std::ranges::replace(line, '\0', '?');
  if (size < message.size()) line += " [" + std::to_string(message.size() - size) + " bytes more]";
  return line;
}

}  // namespace

bool sendToJournal(const std::string& socket, const std::string& identifier, std::string_view message) {
  const UniqueFd journal = connected(socket, SOCK_DGRAM);
  if (!journal) return false;
  std::string record;
  record.reserve(message.size() + identifier.size() + 64);
  appendField(record, "MESSAGE", message);
  appendField(record, "SYSLOG_IDENTIFIER", identifier);
  appendField(record, "PRIORITY", std::to_string(LOG_NOTICE));
  if (sendWhole(journal, record)) return true;
  return (errno == EMSGSIZE || errno == ENOBUFS) && sendAsFile(journal, record);
}

bool sendToSyslog(const std::string& socket, const std::string& identifier, std::string_view message) {
  const std::string line = "<" + std::to_string(LOG_USER | LOG_NOTICE) + ">" + timeOfLine() + " " + identifier + "[" +
                           std::to_string(::getpid()) + "]: " + lineOf(message);
  if (const UniqueFd log = connected(socket, SOCK_DGRAM)) return sendWhole(log, line);
  // Some daemons read a stream of zero-terminated lines.
  const UniqueFd log = connected(socket, SOCK_STREAM);
  return log && sendWhole(log, line + '\0');
}

}  // namespace tarvel
