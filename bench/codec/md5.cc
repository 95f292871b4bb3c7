// Digests of text beside OpenSSL's recommended interface and libgcrypt. Everyone makes the hexadecimal text
// too, in the same way; the contexts are made anew for each text, as a call with nothing but text has to.
#include <benchmark/benchmark.h>
#include <gcrypt.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <cstdlib>
#include <string>

#include "vantrel/codec/KWHmacMD5.h"

namespace {

using vantrel::KWHmacMD5;
using Digest = std::array<unsigned char, 16>;

const std::string kKey = "a key of usual size, 32 bytes...";

std::string hexOf(const Digest& digest) {
  std::string text(2 * digest.size(), '\0');
  for (std::size_t i = 0; i < digest.size(); ++i) {
    text[2 * i] = "0123456789abcdef"[digest[i] >> 4];
    text[2 * i + 1] = "0123456789abcdef"[digest[i] & 15];
  }
  return text;
}

// Fetched once: that is what spares a program the search in every call.
EVP_MD* fetchedMd5() {
  static EVP_MD* const fetched = EVP_MD_fetch(nullptr, "MD5", nullptr);
  return fetched;
}

std::string opensslMd5(const std::string& text) {
  Digest digest;
  if (EVP_Digest(text.data(), text.size(), digest.data(), nullptr, fetchedMd5(), nullptr) != 1) std::abort();
  return hexOf(digest);
}

std::string gcryptMd5(const std::string& text) {
  Digest digest;
  gcry_md_hash_buffer(GCRY_MD_MD5, digest.data(), text.data(), text.size());
  return hexOf(digest);
}

std::string opensslHmac(const std::string& text) {
  Digest digest;
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  if (HMAC(fetchedMd5(), kKey.data(), static_cast<int>(kKey.size()), bytes, text.size(), digest.data(),
           nullptr) == nullptr)
    std::abort();
  return hexOf(digest);
}

std::string gcryptHmac(const std::string& text) {
  Digest digest;
  const auto part = [](const std::string& from) {
    return gcry_buffer_t{0, 0, from.size(), const_cast<char*>(from.data())};
  };
  const std::array<gcry_buffer_t, 2> parts = {part(kKey), part(text)};
  if (gcry_md_hash_buffers(GCRY_MD_MD5, GCRY_MD_FLAG_HMAC, digest.data(), parts.data(), 2) != 0) std::abort();
  return hexOf(digest);
}

template <typename Hash>
void hash(benchmark::State& state, Hash run) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
  for (auto _ : state) {
    auto digest = run(text);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

[[maybe_unused]] const bool kRegistered = [] {
  gcry_check_version(nullptr);
  gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
  const auto add = [](const char* name, auto run) {
    const auto body = [run](benchmark::State& state) { hash(state, run); };
    benchmark::RegisterBenchmark(name, body)->Arg(64)->Arg(1 << 20);
  };
  add("BM_Md5/vantrel", [](const std::string& text) { return KWHmacMD5::HmacMD5String(text); });
  add("BM_Md5/openssl", opensslMd5);
  add("BM_Md5/gcrypt", gcryptMd5);
  add("BM_HmacMd5/vantrel", [](const std::string& text) { return KWHmacMD5::HmacMD5String_Key(text, kKey); });
  add("BM_HmacMd5/gcrypt", gcryptHmac);
  add("BM_HmacMd5/openssl", opensslHmac);
  return true;
}();

}  // namespace
