// bench-decode-children: decodes a children listing from standard input into records, as the
// provider does, and prints how many children it held.
#include <iostream>
#include <iterator>
#include <string>

#include "model/wire_models.h"

int main() {
  std::ios::sync_with_stdio(false);
  const std::string json(std::istreambuf_iterator<char>(std::cin), {});
  try {
    const auto listing = drive::decodeRecord<drive::NodeChildren>(json);
    std::cout << listing.children.size() << "\n";
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "bench-decode-children: " << error.what() << "\n";
    return 1;
  }
}
