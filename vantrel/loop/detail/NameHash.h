#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

// Names are short, so calls of the library's functions would cost more than what they do.
namespace vantrel::loop::detail {

inline std::uint64_t loadBytes(const char* at, std::size_t size) {
  std::uint64_t word = 0;
  std::memcpy(&word, at, size);
  return word;
}

/// At most 8 bytes of a text as a number, by loads of fixed sizes that may overlap.
inline std::uint64_t shortWord(const char* at, std::size_t size) {
  if (size >= 4) return loadBytes(at, 4) | loadBytes(at + size - 4, 4) << 32;
  if (size >= 2) return loadBytes(at, 2) | loadBytes(at + size - 2, 2) << 16;
  return size == 1 ? loadBytes(at, 1) : 0;
}

/// Cheap, and over every byte: names often share both their beginning and their end.
inline std::uint64_t hashOf(std::string_view name) {
  constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15U;
  const char* const data = name.data();
  const std::size_t size = name.size();
  std::uint64_t hash = size * kFactor;
  if (size < 8) {
    hash = (hash ^ shortWord(data, size)) * kFactor;
  } else {
    for (std::size_t i = 0; i + 8 < size; i += 8) {
      hash = std::rotl((hash ^ loadBytes(data + i, 8)) * kFactor, 29);
    }
    hash = (hash ^ loadBytes(data + size - 8, 8)) * kFactor;
  }
  return hash ^ hash >> 32;
}

inline bool sameName(std::string_view a, std::string_view b) {
  const std::size_t size = a.size();
  if (b.size() != size) return false;
  if (size < 8) return shortWord(a.data(), size) == shortWord(b.data(), size);
  for (std::size_t i = 0; i + 8 < size; i += 8) {
    if (loadBytes(a.data() + i, 8) != loadBytes(b.data() + i, 8)) return false;
  }
  return loadBytes(a.data() + size - 8, 8) == loadBytes(b.data() + size - 8, 8);
}

}  // namespace vantrel::loop::detail
