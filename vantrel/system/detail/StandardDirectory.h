#pragma once

#include <cstdint>
#include <string>

namespace vantrel::system::detail {

/// The user's folder for a standard directory by its number, see KWFile.
std::string standardDirectory(std::uint64_t number);

}  // namespace vantrel::system::detail
