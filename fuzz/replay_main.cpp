// Runs a fuzz target on every file of the given folders, in builds without libFuzzer. Fails if a folder is missing or
// empty.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <system_error>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  (void)LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());  // NOLINT
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t replayed = 0;
  for (int i = 1; i < argc; ++i) {
    const std::size_t before = replayed;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(argv[i], error)) {
      replay(entry.path());
      ++replayed;
    }
    if (replayed == before) {
      std::cerr << argv[i] << ": no inputs\n";
      return 1;
    }
  }
  std::cout << "replayed " << replayed << " inputs\n";
  return replayed == 0 ? 1 : 0;
}
