#pragma once

#include <cstddef>
#include <cstdint>

namespace vantrel::system::detail {

/// What a vector network takes. From here on the comparisons of the network grow past those of a quick sort.
inline constexpr std::size_t kMostInNetwork = 256;

/// Sorts up to `kMostInNetwork` integers, smallest first or largest first.
void sortSmall(std::int32_t* numbers, std::size_t count, bool ascending);

}  // namespace vantrel::system::detail
