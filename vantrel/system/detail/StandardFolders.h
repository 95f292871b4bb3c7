#pragma once

#include <cstdint>
#include <string>

namespace vantrel::system::detail {

/// The user's folder for a standard directory, see KWFile. Never empty, absolute, without a slash at its end
/// unless it is "/". Nothing is created.
std::string standardFolder(std::uint64_t directory);

}  // namespace vantrel::system::detail
