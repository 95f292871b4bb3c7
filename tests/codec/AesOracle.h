#pragma once

#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

/// AES-128 by libcrypto, for tests: whole blocks, no chaining, no padding.
namespace vantrel::tests {

using AesBlock = std::array<std::uint8_t, 16>;

enum class Way { Encrypt, Decrypt };

inline std::vector<std::uint8_t> aesByOpenssl(Way way, const AesBlock& key,
                                              std::span<const std::uint8_t> blocks) {
  std::vector<std::uint8_t> result(blocks.size());
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  int written = 0;
  const bool done =
      EVP_CipherInit_ex(context, EVP_aes_128_ecb(), nullptr, key.data(), nullptr, way == Way::Encrypt) == 1 &&
      EVP_CIPHER_CTX_set_padding(context, 0) == 1 &&
      EVP_CipherUpdate(context, result.data(), &written, blocks.data(), static_cast<int>(blocks.size())) == 1;
  EVP_CIPHER_CTX_free(context);
  if (!done || static_cast<std::size_t>(written) != blocks.size())
    throw std::runtime_error("libcrypto failed");
  return result;
}

}  // namespace vantrel::tests
