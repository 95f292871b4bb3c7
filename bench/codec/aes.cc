// AES-128 on whole blocks beside what a user would pick instead. Ours sets the key in every call, as its
// operations do; of a peer, "openssl" keeps a key that was set before, names with "key" set it anew, and
// names with "call" make the context for it as well.
#include <benchmark/benchmark.h>
#include <gcrypt.h>
#include <mbedtls/aes.h>
#include <openssl/evp.h>

#include <array>
#include <cstdlib>
#include <random>
#include <vector>

#include "vantrel/base/simd/Target.h"
#include "vantrel/codec/AESx.h"

namespace {

namespace simd = vantrel::simd;

constexpr std::array<std::uint8_t, 16> kKey{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

enum class Way { Encrypt, Decrypt };

// Each peer is made for one way, and run on whole blocks.

class Vantrel {
 public:
  explicit Vantrel(Way way) : way_(way) {}
  void run(const std::uint8_t* from, std::uint8_t* to, std::size_t size) {
    const auto length = static_cast<std::uint32_t>(size);
    auto& aes = vantrel::AESx::shared();
    if (way_ == Way::Encrypt)
      aes.Dcs_EnCodeSrc_Des_Lenghts_Key(from, to, length, kKey.data());
    else
      aes.Dcs_DeCodeSrc_Des_Lengths_Key(from, to, length, kKey.data());
  }

 private:
  Way way_;
};

/// On a processor whose AES instructions take one block at a time.
class Narrow : public Vantrel {
 public:
  using Vantrel::Vantrel;

 private:
  simd::ScopedTargetLimit limit_{simd::runs(simd::Target::Avx2) ? simd::Target::Avx2 : simd::Target::Neon};
};

class Openssl {
 public:
  explicit Openssl(Way way) : way_(way) { setKey(); }
  ~Openssl() {
    EVP_CIPHER_CTX_free(context_);
    EVP_CIPHER_free(cipher_);
  }
  Openssl(const Openssl&) = delete;
  Openssl& operator=(const Openssl&) = delete;

  void setKey() {
    if (EVP_CipherInit_ex(context_, EVP_aes_128_ecb(), nullptr, kKey.data(), nullptr, way_ == Way::Encrypt) !=
            1 ||
        EVP_CIPHER_CTX_set_padding(context_, 0) != 1)
      std::abort();
  }
  void run(const std::uint8_t* from, std::uint8_t* to, std::size_t size) {
    int written = 0;
    if (EVP_CipherUpdate(context_, to, &written, from, static_cast<int>(size)) != 1) std::abort();
  }

 private:
  Way way_;
  EVP_CIPHER* cipher_ = EVP_CIPHER_fetch(nullptr, "AES-128-ECB", nullptr);
  EVP_CIPHER_CTX* context_ = EVP_CIPHER_CTX_new();
};

class Mbedtls {
 public:
  explicit Mbedtls(Way way) : way_(way) {
    mbedtls_aes_init(&context_);
    setKey();
  }
  ~Mbedtls() { mbedtls_aes_free(&context_); }
  Mbedtls(const Mbedtls&) = delete;
  Mbedtls& operator=(const Mbedtls&) = delete;

  void makeContext() {
    mbedtls_aes_free(&context_);
    mbedtls_aes_init(&context_);
  }
  void setKey() {
    if (way_ == Way::Encrypt)
      mbedtls_aes_setkey_enc(&context_, kKey.data(), 128);
    else
      mbedtls_aes_setkey_dec(&context_, kKey.data(), 128);
  }
  void run(const std::uint8_t* from, std::uint8_t* to, std::size_t size) {
    const int mode = way_ == Way::Encrypt ? MBEDTLS_AES_ENCRYPT : MBEDTLS_AES_DECRYPT;
    for (std::size_t at = 0; at < size; at += kKey.size())
      mbedtls_aes_crypt_ecb(&context_, mode, from + at, to + at);
  }

 private:
  Way way_;
  mbedtls_aes_context context_;
};

class Gcrypt {
 public:
  explicit Gcrypt(Way way) : way_(way) {
    gcry_check_version(nullptr);
    if (gcry_cipher_open(&cipher_, GCRY_CIPHER_AES128, GCRY_CIPHER_MODE_ECB, 0) != 0) std::abort();
    setKey();
  }
  ~Gcrypt() { gcry_cipher_close(cipher_); }
  Gcrypt(const Gcrypt&) = delete;
  Gcrypt& operator=(const Gcrypt&) = delete;

  void setKey() {
    if (gcry_cipher_setkey(cipher_, kKey.data(), kKey.size()) != 0) std::abort();
  }
  void run(const std::uint8_t* from, std::uint8_t* to, std::size_t size) {
    if (way_ == Way::Encrypt)
      gcry_cipher_encrypt(cipher_, to, size, from, size);
    else
      gcry_cipher_decrypt(cipher_, to, size, from, size);
  }

 private:
  Way way_;
  gcry_cipher_hd_t cipher_ = nullptr;
};

template <class Peer>
class WithKey : public Peer {
 public:
  using Peer::Peer;
  void run(const std::uint8_t* from, std::uint8_t* to, std::size_t size) {
    Peer::setKey();
    Peer::run(from, to, size);
  }
};

template <class Peer>
class WithContext : public WithKey<Peer> {
 public:
  using WithKey<Peer>::WithKey;
  void run(const std::uint8_t* from, std::uint8_t* to, std::size_t size) {
    Peer::makeContext();
    WithKey<Peer>::run(from, to, size);
  }
};

template <class Peer>
void measure(benchmark::State& state, Way way) {
  std::mt19937 random(7);
  std::vector<std::uint8_t> from(static_cast<std::size_t>(state.range(0)));
  for (auto& byte : from) byte = static_cast<std::uint8_t>(random());
  std::vector<std::uint8_t> to(from.size());
  Peer peer(way);
  for (auto _ : state) {
    peer.run(from.data(), to.data(), from.size());
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <class Peer>
void add(const std::string& task, const std::string& who, std::initializer_list<int> sizes) {
  for (Way way : {Way::Encrypt, Way::Decrypt}) {
    const std::string name = "BM_Aes" + task + (way == Way::Encrypt ? "Encrypt/" : "Decrypt/") + who;
    auto* made = benchmark::RegisterBenchmark(name.c_str(), [=](auto& state) { measure<Peer>(state, way); });
    for (int size : sizes) made->Arg(size);
  }
}

[[maybe_unused]] const bool kRegistered = [] {
  const auto sizes = {1 << 10, 1 << 20};
  add<Vantrel>("", "vantrel", sizes);
  add<Openssl>("", "openssl", sizes);
  add<WithKey<Openssl>>("", "openssl-key", {1 << 10});
  add<Gcrypt>("", "gcrypt", sizes);
  add<Mbedtls>("", "mbedtls", sizes);
  add<Narrow>("Narrow", "vantrel", sizes);
  add<Openssl>("Narrow", "openssl", sizes);
  add<Vantrel>("Block", "vantrel", {16});
  add<WithKey<Openssl>>("Block", "openssl-key", {16});
  add<WithKey<Gcrypt>>("Block", "gcrypt-key", {16});
  add<WithKey<Mbedtls>>("Block", "mbedtls-key", {16});
  add<WithContext<Mbedtls>>("Block", "mbedtls-call", {16});
  return true;
}();

}  // namespace
