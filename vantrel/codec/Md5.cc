#include "vantrel/codec/Md5.h"

#include "vantrel/codec/detail/Md5Context.h"

namespace vantrel {

using codec::detail::Md5Context;

Md5Digest md5(std::span<const std::uint8_t> bytes) noexcept { return Md5Context().add(bytes).digest(); }

Md5Digest hmacMd5(std::span<const std::uint8_t> key, std::span<const std::uint8_t> bytes) noexcept {
  return codec::detail::hmacOf(codec::detail::hmacBlock(key), [&](Md5Context& inner) { inner.add(bytes); });
}

}  // namespace vantrel
