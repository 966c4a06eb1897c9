// Random choices for a test. They can be repeated: everything follows from the seed.
#pragma once

#include <cstdint>
#include <random>
#include <string>

namespace moorlak::machine {

struct RandomSource {
  std::mt19937 engine;

  explicit RandomSource(uint32_t seed) : engine(seed) {}

  uint32_t Any() { return static_cast<uint32_t>(engine()); }
  // 0 to limit - 1.
  uint32_t Below(uint32_t limit) { return Any() % limit; }
  std::string Bytes(size_t count) {
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(Any() & 0xFF);
    return bytes;
  }
};

}  // namespace moorlak::machine
