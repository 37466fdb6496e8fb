// bench-digest FILE: the file's SHA-256 as the create re-import check computes it.
#include <iostream>

#include "changes/content_digest.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: bench-digest FILE\n";
    return 2;
  }
  const auto digest = drive::fileDigest(argv[1]);
  if (digest.empty()) {
    std::cerr << "bench-digest: cannot read " << argv[1] << "\n";
    return 1;
  }
  std::cout << digest << "  " << argv[1] << "\n";
  return 0;
}
