#include "vantrel/codec/KWHmacMD5.h"

// The replacement that OpenSSL 3 recommends looks the algorithm up and allocates in every call, which costs
// more than the digest of a short text, and it can be configured away. These functions can neither fail nor
// be missing at run time.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

namespace vantrel {
namespace {

using Digest = std::array<unsigned char, MD5_DIGEST_LENGTH>;
using Block = std::array<unsigned char, MD5_CBLOCK>;

// A text is searched for its end piece by piece, so that a long one passes the cache only once.
constexpr std::size_t kPiece = 4096;

class Md5 {
 public:
  Md5() { MD5_Init(&context_); }

  Md5& add(std::span<const unsigned char> bytes) {
    MD5_Update(&context_, bytes.data(), bytes.size());
    return *this;
  }

  Md5& addUpToZeroByte(std::string_view text) {
    while (!text.empty()) {
      const std::string_view piece = text.substr(0, kPiece);
      const std::size_t length = std::min(piece.find('\0'), piece.size());
      MD5_Update(&context_, piece.data(), length);
      if (length < piece.size()) break;
      text.remove_prefix(length);
    }
    return *this;
  }

  Digest digest() {
    Digest result;
    MD5_Final(result.data(), &context_);
    return result;
  }

 private:
  MD5_CTX context_;
};

Digest md5(std::string_view text) { return Md5().addUpToZeroByte(text).digest(); }

std::string hexOf(const Digest& digest, const char (&digits)[17]) {
  std::string text(2 * digest.size(), '\0');
  for (std::size_t i = 0; i < digest.size(); ++i) {
    text[2 * i] = digits[digest[i] >> 4];
    text[2 * i + 1] = digits[digest[i] & 15];
  }
  return text;
}

// The key as the first block of the hash: filled up with zero bytes, or digested when it is too long.
Block blockOf(std::string_view key) {
  Block block{};
  key = key.substr(0, key.find('\0'));
  if (key.size() > block.size()) {
    const Digest digest = md5(key);
    std::ranges::copy(digest, block.begin());
  } else {
    std::ranges::copy(key, block.begin());
  }
  return block;
}

Block mixed(Block block, unsigned char pad) {
  for (unsigned char& byte : block) byte ^= pad;
  return block;
}

}  // namespace

std::string KWHmacMD5::HmacMD5String(TextArgument text) { return hexOf(md5(*text), "0123456789ABCDEF"); }

std::string KWHmacMD5::HmacMD5String_Key(TextArgument text, TextArgument Key) {
  const Block key = blockOf(*Key);
  const Digest inner = Md5().add(mixed(key, 0x36)).addUpToZeroByte(*text).digest();
  return hexOf(Md5().add(mixed(key, 0x5C)).add(inner).digest(), "0123456789abcdef");
}

}  // namespace vantrel
