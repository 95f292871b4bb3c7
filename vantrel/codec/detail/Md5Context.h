#pragma once

// The replacement that OpenSSL 3 recommends looks the algorithm up and allocates in every call, which costs
// more than the digest of a short text, and it can be configured away. These functions can neither fail nor
// be missing at run time.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "vantrel/codec/Md5.h"

namespace vantrel::codec::detail {

class Md5Context {
 public:
  using Block = std::array<std::uint8_t, MD5_CBLOCK>;

  Md5Context() { MD5_Init(&context_); }

  Md5Context& add(std::span<const std::uint8_t> bytes) {
    MD5_Update(&context_, bytes.data(), bytes.size());
    return *this;
  }

  Md5Digest digest() {
    Md5Digest result;
    MD5_Final(result.data(), &context_);
    return result;
  }

 private:
  MD5_CTX context_;
};

/// The key as the first block of the hash: filled up with zero bytes, or digested when it is too long.
inline Md5Context::Block hmacBlock(std::span<const std::uint8_t> key) {
  Md5Context::Block block{};
  if (key.size() > block.size()) {
    std::ranges::copy(md5(key), block.begin());
  } else {
    std::ranges::copy(key, block.begin());
  }
  return block;
}

/// The digest of what `addText` adds to a context, under a key.
template <class AddText>
Md5Digest hmacOf(Md5Context::Block key, AddText addText) {
  for (std::uint8_t& byte : key) byte ^= 0x36;
  Md5Context inner;
  addText(inner.add(key));
  for (std::uint8_t& byte : key) byte ^= 0x36 ^ 0x5C;
  return Md5Context().add(key).add(inner.digest()).digest();
}

}  // namespace vantrel::codec::detail
