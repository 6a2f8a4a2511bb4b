// Records how it was executed in the folder TARVEL_RECORD, runs until the file "quit" is there, and then creates the
// file "ended".

#include <dirent.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

int main(int argc, char** argv) {
  const char* folder = std::getenv("TARVEL_RECORD");
  if (folder == nullptr) return 1;
  const std::filesystem::path temporary = std::filesystem::path(folder) / (std::to_string(::getpid()) + ".new");
  {
    std::ofstream notes(temporary);
    notes << "pid " << ::getpid() << "\nsession " << ::getsid(0) << "\nparent " << ::getppid() << "\nfolder "
          << std::filesystem::current_path().string() << "\n";
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("SigBlk:") || line.starts_with("SigIgn:")) notes << line << "\n";
    }
    for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code error;
      const auto target = std::filesystem::read_symlink(descriptor.path(), error);
      // Its own records, and the folder that it is reading.
      if (error || target == temporary || target.string().starts_with("/proc/")) continue;
      notes << "descriptor " << descriptor.path().filename().string() << " " << target.string() << "\n";
    }
    std::ifstream groups("/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) {
      if (line.starts_with("0::")) notes << "group " << line.substr(3) << "\n";
    }
    for (char** entry = environ; *entry != nullptr; ++entry) notes << "environment " << *entry << "\n";
    for (int i = 0; i < argc; ++i) notes << "argument " << argv[i] << "\n";
  }
  std::filesystem::rename(temporary, std::filesystem::path(folder) / (std::to_string(::getpid()) + ".notes"));
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!std::filesystem::exists(std::filesystem::path(folder) / "quit") && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  std::ofstream(std::filesystem::path(folder) / "ended");
}
