#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace drive::fuzz {

// An input as a choice (its first byte) and the text the choice is given.
struct FuzzInput {
  std::uint8_t choice = 0;
  std::string_view text;

  static FuzzInput from(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return {};
    return {data[0], std::string_view(reinterpret_cast<const char*>(data) + 1, size - 1)};
  }
};

// A broken promise of the code under test: reported as the crash it is.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "fuzz: %s\n", what);
  std::abort();
}

}  // namespace drive::fuzz
