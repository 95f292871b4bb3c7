#pragma once

#include <cstdint>
#include <random>
#include <string_view>
#include <vector>

#include "vantrel/base/Bytes.h"

/// Data to compress, and streams made with zlib itself.
namespace vantrel::tests {

/// zlib's numbers of the forms of a stream.
inline constexpr int kRawForm = -15;
inline constexpr int kZlibForm = 15;
inline constexpr int kGzipForm = 31;

Bytes zeros(std::size_t size);

Bytes randomBytes(std::size_t size, std::uint32_t seed = 1);

/// Words with line ends.
Bytes wordy(std::size_t size);

Bytes deflated(const Bytes& data, int form, int level = -1, int memoryLevel = 8, int strategy = 0);

/// The bytes one after the other.
Bytes joined(const Bytes& front, const Bytes& back);

/// A true gzip stream of so many MiB of zero bytes; its length is about a thousandth, and it is made in no
/// time.
Bytes bombOfMebibytes(std::uint64_t count);

}  // namespace vantrel::tests
