// Hexadecimal text beside what a user would pick instead. Sizes are of the bytes, not of the text. Everyone
// makes the result anew in each round, in the way that comes natural to it.
#include <benchmark/benchmark.h>
#include <openssl/crypto.h>

#include <array>
#include <boost/algorithm/hex.hpp>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "vantrel/codec/Hex.h"
#include "vantrel/codec/KWTools.h"

namespace {

using vantrel::Bytes;
using vantrel::KWTools;

Bytes randomBytes(std::size_t size) {
  std::mt19937 random(7);
  std::vector<std::uint8_t> bytes(size);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return Bytes(std::move(bytes));
}

constexpr auto kTexts = [] {
  std::array<char, 512> texts{};
  for (std::size_t byte = 0; byte < 256; ++byte) {
    texts[2 * byte] = "0123456789abcdef"[byte >> 4];
    texts[2 * byte + 1] = "0123456789abcdef"[byte & 15];
  }
  return texts;
}();

std::string tableEncode(const Bytes& bytes) {
  std::string text(2 * bytes.size(), '\0');
  char* to = text.data();
  for (std::uint8_t byte : bytes.span()) {
    std::memcpy(to, &kTexts[2 * std::size_t{byte}], 2);
    to += 2;
  }
  return text;
}

constexpr auto kValues = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(-1);
  for (int i = 0; i < 10; ++i) values['0' + i] = static_cast<std::int8_t>(i);
  for (int i = 0; i < 6; ++i) values['a' + i] = values['A' + i] = static_cast<std::int8_t>(10 + i);
  return values;
}();

std::vector<std::uint8_t> tableDecode(const std::string& text) {
  std::vector<std::uint8_t> bytes(text.size() / 2);
  const char* from = text.data();
  for (std::uint8_t& byte : bytes) {
    const int high = kValues[static_cast<unsigned char>(from[0])];
    const int low = kValues[static_cast<unsigned char>(from[1])];
    if ((high | low) < 0) return {};
    byte = static_cast<std::uint8_t>(high << 4 | low);
    from += 2;
  }
  return bytes;
}

// The same into memory that is there.
void tableEncodeInto(const Bytes& bytes, char* to) {
  for (std::uint8_t byte : bytes.span()) {
    std::memcpy(to, &kTexts[2 * std::size_t{byte}], 2);
    to += 2;
  }
}

bool tableDecodeInto(const std::string& text, std::vector<std::uint8_t>& bytes) {
  const char* from = text.data();
  for (std::uint8_t& byte : bytes) {
    const int high = kValues[static_cast<unsigned char>(from[0])];
    const int low = kValues[static_cast<unsigned char>(from[1])];
    if ((high | low) < 0) return false;
    byte = static_cast<std::uint8_t>(high << 4 | low);
    from += 2;
  }
  return true;
}

auto opensslEncode(const Bytes& bytes) {
  auto text = std::make_unique_for_overwrite<char[]>(2 * bytes.size() + 1);
  std::size_t length = 0;
  OPENSSL_buf2hexstr_ex(text.get(), 2 * bytes.size() + 1, &length, bytes.data(), bytes.size(), '\0');
  return text;
}

auto opensslDecode(const std::string& text) {
  auto bytes = std::make_unique_for_overwrite<std::uint8_t[]>(text.size() / 2);
  std::size_t length = 0;
  OPENSSL_hexstr2buf_ex(bytes.get(), text.size() / 2, &length, text.c_str(), '\0');
  return bytes;
}

std::string boostEncode(const Bytes& bytes) {
  std::string text;
  text.reserve(2 * bytes.size());
  boost::algorithm::hex_lower(bytes.begin(), bytes.end(), std::back_inserter(text));
  return text;
}

std::vector<std::uint8_t> boostDecode(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 2);
  boost::algorithm::unhex(text.begin(), text.end(), std::back_inserter(bytes));
  return bytes;
}

template <typename Encode>
void encode(benchmark::State& state, Encode run) {
  const Bytes bytes = randomBytes(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    auto text = run(bytes);
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <typename Decode>
void decode(benchmark::State& state, Decode run, const char* separator = "") {
  const std::string digits = tableEncode(randomBytes(static_cast<std::size_t>(state.range(0))));
  std::string text;
  for (std::size_t i = 0; i < digits.size(); i += 2) text += digits.substr(i, 2) + separator;
  for (auto _ : state) {
    auto bytes = run(text);
    benchmark::DoNotOptimize(bytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <typename Encode>
void encodeInto(benchmark::State& state, Encode run) {
  std::vector<char> text(2 * static_cast<std::size_t>(state.range(0)));
  encode(state, [&](const Bytes& bytes) {
    run(bytes, text);
    return text.data();
  });
}

template <typename Decode>
void decodeInto(benchmark::State& state, Decode run) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(state.range(0)));
  decode(state, [&](const std::string& text) { return run(text, bytes); });
}

[[maybe_unused]] const bool kRegistered = [] {
  const auto sized = [](benchmark::internal::Benchmark* made) { made->Arg(4096)->Arg(1 << 20); };
  const auto add = [&](const char* name, auto body) { sized(benchmark::RegisterBenchmark(name, body)); };
  using State = benchmark::State;
  add("BM_HexEncode/vantrel",
      [](State& s) { encode(s, [](const Bytes& b) { return KWTools::dataToHex(b); }); });
  add("BM_HexEncode/table", [](State& s) { encode(s, tableEncode); });
  add("BM_HexEncode/openssl", [](State& s) { encode(s, opensslEncode); });
  add("BM_HexEncode/boost", [](State& s) { encode(s, boostEncode); });
  const auto ours = [](const std::string& text) { return KWTools::HexToData(text); };
  add("BM_HexDecode/vantrel", [=](State& s) { decode(s, ours); });
  add("BM_HexDecode/table", [](State& s) { decode(s, tableDecode); });
  add("BM_HexDecode/openssl", [](State& s) { decode(s, opensslDecode); });
  add("BM_HexDecode/boost", [](State& s) { decode(s, boostDecode); });
  using Text = std::vector<char>;
  using Data = std::vector<std::uint8_t>;
  namespace hex = vantrel::hex;
  add("BM_HexEncodeInto/vantrel", [](State& s) {
    encodeInto(s, [](const Bytes& b, Text& text) { benchmark::DoNotOptimize(hex::encode(b.span(), text)); });
  });
  add("BM_HexEncodeInto/table",
      [](State& s) { encodeInto(s, [](const Bytes& b, Text& text) { tableEncodeInto(b, text.data()); }); });
  add("BM_HexDecodeInto/vantrel", [](State& s) {
    decodeInto(s, [](const std::string& text, Data& bytes) { return hex::decode(text, bytes); });
  });
  add("BM_HexDecodeInto/table", [](State& s) { decodeInto(s, tableDecodeInto); });
  add("BM_HexDecodeSpaced/vantrel", [=](State& s) { decode(s, ours, " "); });
  return true;
}();

}  // namespace
