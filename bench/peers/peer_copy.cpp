// The lower bound: reads a file and writes the same bytes back. peer_copy FILE

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
  if (argc != 2) return 64;
  const std::string path = argv[1];
  const std::string beside = path + ".new";
  struct stat status {};
  const int in = ::open(path.c_str(), O_RDONLY);
  if (in < 0 || ::fstat(in, &status) != 0) return 1;
  const auto size = static_cast<std::size_t>(status.st_size);
  auto* bytes = static_cast<char*>(std::malloc(size));
  for (std::size_t at = 0; at < size;) {
    const ssize_t got = ::read(in, bytes + at, size - at);
    if (got <= 0) return 1;
    at += static_cast<std::size_t>(got);
  }
  const int out = ::open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  for (std::size_t at = 0; at < size;) {
    const ssize_t put = ::write(out, bytes + at, std::min<std::size_t>(size - at, 262144));
    if (put <= 0) return 1;
    at += static_cast<std::size_t>(put);
  }
  if (::fsync(out) != 0 || ::rename(beside.c_str(), path.c_str()) != 0) return 1;
  std::free(bytes);
  return 0;
}
