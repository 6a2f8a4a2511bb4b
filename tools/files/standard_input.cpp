#include "tools/files/standard_input.h"

#include <array>
#include <cstddef>
#include <iostream>
#include <string>

#include "platform/linux/files/file_size_limit.h"

namespace tarvel {

FileReading readStandardInput() {
  constexpr std::size_t kPieceSize = std::size_t{1} << 16;
  const std::size_t most = fileSizeLimit();
  std::string bytes;
  std::array<char, kPieceSize> piece{};
  while (std::cin.read(piece.data(), piece.size()), std::cin.gcount() > 0) {
    bytes.append(piece.data(), static_cast<std::size_t>(std::cin.gcount()));
    if (bytes.size() > most) return {{}, fileTooLarge(most, kStandardInputName)};
  }
  return {Data::copyOf(bytes), {}};
}

}  // namespace tarvel
