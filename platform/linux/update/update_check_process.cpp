#include "platform/linux/update/update_check_process.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <utility>

#include "platform/linux/launch/process_spawning.h"

namespace tarvel {

namespace {

/// A version and a line feed.
constexpr std::size_t kLongestOutput = 4096;

}  // namespace

std::unique_ptr<UpdateCheckProcess> UpdateCheckProcess::start(LinuxRunLoop& loop, const std::string& program,
                                                              std::vector<std::string> arguments,
                                                              std::chrono::milliseconds deadline, Done done) {
  std::unique_ptr<UpdateCheckProcess> check(new UpdateCheckProcess(std::move(done)));
  if (!check->spawn(program, std::move(arguments)) || !check->attach(loop, deadline)) return nullptr;
  return check;
}

UpdateCheckProcess::~UpdateCheckProcess() {
  childSource_.reset();
  if (process_ == 0) return;
  (void)::kill(process_, SIGKILL);
  (void)::waitpid(process_, nullptr, 0);
}

bool UpdateCheckProcess::spawn(const std::string& program, std::vector<std::string> arguments) {
  int ends[2] = {-1, -1};
  if (::pipe2(ends, O_CLOEXEC) != 0) return false;
  output_ = UniqueFd(ends[0]);
  const UniqueFd input(ends[1]);
  (void)::fcntl(output_.get(), F_SETFL, O_NONBLOCK);
  arguments.insert(arguments.begin(), program);
  const auto process = spawnDetached({program, std::move(arguments), "/"}, input.get());
  if (process) process_ = *process;
  return process.has_value();
}

bool UpdateCheckProcess::attach(LinuxRunLoop& loop, std::chrono::milliseconds deadline) {
  outputSource_ = loop.watchDescriptor(output_.get(), EPOLLIN, [this](std::uint32_t) { read(); });
  childSource_ = loop.watchChild(process_, [this](int status) { finish(status); });
  deadline_ = loop.callAfter(deadline, [this] { (void)::kill(process_, SIGKILL); });
  return outputSource_ && childSource_;
}

void UpdateCheckProcess::read() {
  char buffer[512];
  const ssize_t size = ::read(output_.get(), buffer, sizeof buffer);
  // End of output, or too much of it.
  if (size <= 0 || text_.size() + static_cast<std::size_t>(size) > kLongestOutput) {
    outputSource_.reset();
    // Further output fails with SIGPIPE.
    output_ = UniqueFd();
    if (size > 0) text_.clear();
    return;
  }
  text_.append(buffer, static_cast<std::size_t>(size));
}

void UpdateCheckProcess::finish(int status) {
  process_ = 0;
  deadline_.reset();
  // The last output may still be in the pipe.
  while (outputSource_) read();
  const std::string version = text_.substr(0, text_.find('\n'));
  const bool hasFound = WIFEXITED(status) && WEXITSTATUS(status) == 0 && !version.empty();
  const auto done = done_;
  (*done)(hasFound ? std::optional(version) : std::nullopt);
}

}  // namespace tarvel
