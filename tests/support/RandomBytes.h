#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace vantrel::tests {

/// The same ones for the same seed.
inline std::vector<std::uint8_t> randomBytes(std::size_t size, std::uint32_t seed = 1) {
  std::mt19937 random(seed);
  std::vector<std::uint8_t> bytes(size);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return bytes;
}

}  // namespace vantrel::tests
