// generate_bookmarks COUNT SEED FILE [SHAPE]

#include <cstdlib>
#include <fstream>
#include <iostream>

#include "bench/generate_bookmarks.h"

int main(int argc, char** argv) {
  if (argc != 4 && argc != 5) {
    std::cerr << "usage: generate_bookmarks COUNT SEED FILE [SHAPE]\n";
    return 64;
  }
  const tarvel::PropertyList list = tarvel::bench::generateBookmarks(
      std::strtoull(argv[1], nullptr, 10), std::strtoull(argv[2], nullptr, 10), argc == 5 ? argv[4] : "shuffled");
  if (!list.root) {
    std::cerr << "generate_bookmarks: unknown shape " << argv[4] << "\n";
    return 64;
  }
  std::ofstream file(argv[3], std::ios::binary);
  file << tarvel::bench::binaryForm(list);
  return file.flush() ? 0 : 1;
}
