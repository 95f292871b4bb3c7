#include "vantrel/base/detail/KeyHash.h"

#include <unistd.h>

#include <bit>
#include <chrono>
#include <cstring>

namespace vantrel::base::detail {

namespace {

struct Secret {
  std::uint64_t low;
  std::uint64_t high;
};

Secret drawSecret() noexcept {
  Secret secret{};
  if (::getentropy(&secret, sizeof secret) == 0) return secret;
  // Without a source of entropy, something that at least differs from run to run.
  const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
  return {static_cast<std::uint64_t>(now), static_cast<std::uint64_t>(::getpid())};
}

struct State {
  std::uint64_t a, b, c, d;

  void round() noexcept {
    a += b, b = std::rotl(b, 13) ^ a, a = std::rotl(a, 32);
    c += d, d = std::rotl(d, 16) ^ c;
    a += d, d = std::rotl(d, 21) ^ a;
    c += b, b = std::rotl(b, 17) ^ c, c = std::rotl(c, 32);
  }

  void absorb(std::uint64_t word) noexcept {
    d ^= word;
    round();
    a ^= word;
  }
};

}  // namespace

std::uint64_t hashOfKey(std::string_view text) noexcept {
  static const Secret secret = drawSecret();
  State state{secret.low ^ 0x736f6d6570736575, secret.high ^ 0x646f72616e646f6d,
              secret.low ^ 0x6c7967656e657261, secret.high ^ 0x7465646279746573};
  std::uint64_t last = static_cast<std::uint64_t>(text.size()) << 56;
  for (; text.size() >= 8; text.remove_prefix(8)) {
    std::uint64_t word;
    std::memcpy(&word, text.data(), 8);
    state.absorb(word);
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    last |= std::uint64_t{static_cast<unsigned char>(text[i])} << (8 * i);
  }
  state.absorb(last);
  state.c ^= 0xff;
  for (int i = 0; i < 3; ++i) state.round();
  return state.a ^ state.b ^ state.c ^ state.d;
}

}  // namespace vantrel::base::detail
