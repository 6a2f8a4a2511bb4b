#include "platform/linux/watch/inotify.h"

#include <unistd.h>

#include <cstring>

namespace tarvel {

int Inotify::watch(const std::string& path, std::uint32_t mask) {
  return ::inotify_add_watch(fd_.get(), path.c_str(), mask | IN_MASK_ADD);
}

void Inotify::unwatch(int watch) { (void)::inotify_rm_watch(fd_.get(), watch); }

void Inotify::read(const std::function<void(const InotifyEvent&)>& tell) {
  constexpr std::size_t kBuffer = std::size_t{16} * 1024;
  alignas(inotify_event) char buffer[kBuffer];
  const ssize_t size = ::read(fd_.get(), buffer, sizeof buffer);
  for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(inotify_event)) <= size;) {
    inotify_event event{};
    std::memcpy(&event, buffer + at, sizeof event);
    const char* name = buffer + at + sizeof event;
    // The name is padded with zeros.
    tell({event.wd, event.mask, event.len == 0 ? std::string_view() : std::string_view(name)});
    at += static_cast<ssize_t>(sizeof event + event.len);
  }
}

}  // namespace tarvel
