#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vantrel/base/Bytes.h"

namespace vantrel::test {

inline Bytes bytesOfHex(std::string_view hex) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(std::string(hex.substr(i, 2)), nullptr, 16)));
  }
  return Bytes(std::move(bytes));
}

/// A binary property list of hand-made objects, sound or not: references have 4 bytes, offsets too, and the
/// first object is the top one.
class PlistFile {
 public:
  PlistFile() : file_({'b', 'p', 'l', 'i', 's', 't', '0', '0'}) {}

  PlistFile& add(std::string_view bytes) {
    offsets_.push_back(file_.size());
    file_.insert(file_.end(), bytes.begin(), bytes.end());
    return *this;
  }

  /// A list (or another kind of container with up to 14 references).
  PlistFile& addReferences(std::vector<std::uint32_t> objects, std::uint8_t marker = 0xA0, int count = -1) {
    std::string bytes(1, static_cast<char>(marker | (count < 0 ? objects.size() : count)));
    for (const std::uint32_t object : objects) append(bytes, object, 4);
    return add(bytes);
  }

  /// One more object at a place that holds another already.
  PlistFile& addOffset(std::uint64_t offset) {
    offsets_.push_back(offset);
    return *this;
  }

  std::size_t end() const { return file_.size(); }

  Bytes finish() const {
    std::vector<std::uint8_t> file = file_;
    for (const std::uint64_t offset : offsets_) append(file, offset, 4);
    file.insert(file.end(), {0, 0, 0, 0, 0, 0, 4, 4});
    append(file, offsets_.size(), 8);
    append(file, 0, 8);
    append(file, file_.size(), 8);
    return Bytes(std::move(file));
  }

 private:
  template <typename Output>
  static void append(Output& output, std::uint64_t number, int size) {
    while (size-- > 0)
      output.push_back(static_cast<typename Output::value_type>(number >> (8 * size) & 0xFF));
  }

  std::vector<std::uint8_t> file_;
  std::vector<std::uint64_t> offsets_;
};

}  // namespace vantrel::test
