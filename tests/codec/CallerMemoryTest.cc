// What writes into memory of the caller's: the results of the operations that make their own, and no
// allocation, which is counted where malloc itself begins, for the libraries below as well.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/codec/GzipStreams.h"
#include "vantrel/codec/Aes128.h"
#include "vantrel/codec/Crc.h"
#include "vantrel/codec/GzipCoder.h"
#include "vantrel/codec/Hex.h"
#include "vantrel/codec/KWGzip.h"
#include "vantrel/codec/KWHmacMD5.h"
#include "vantrel/codec/KWTools.h"
#include "vantrel/codec/Md5.h"

namespace {
std::uint64_t allocations = 0;
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(__clang__)
constexpr bool kCounts = true;
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* malloc(std::size_t size) {
  ++allocations;
  return __libc_malloc(size);
}
#else
constexpr bool kCounts = false;
#endif

namespace vantrel {
namespace {

using namespace tests;

TEST(CallerMemory, TakesHexadecimalTextBothWaysOrRefusesIt) {
  std::array<char, 8> text{};
  std::array<std::uint8_t, 4> bytes{};
  EXPECT_EQ(hex::encode(Bytes({0, 0x0A, 0xFF}).span(), text), 6);
  EXPECT_EQ(std::string(text.data(), 8), std::string("000aff\0\0", 8));
  EXPECT_EQ(hex::encode(noise(5).span(), text), std::nullopt);
  EXPECT_EQ(hex::decode("000AfF", bytes), 3);
  EXPECT_EQ(bytes, (std::array<std::uint8_t, 4>{0, 0x0A, 0xFF, 0}));
  EXPECT_EQ(hex::decode("", {}), 0);
  for (const char* refused : {"0", "000", "0g", "00 0", "0x", "0011223344"})
    EXPECT_EQ(hex::decode(refused, bytes), std::nullopt) << refused;
}

TEST(CallerMemory, HoldsWhatTheGzipOperationsMake) {
  GzipCoder coder;
  for (const Bytes& data : {wordy(1), wordy(3000), zeros(70'000), noise(50'000)}) {
    std::vector<std::uint8_t> stream(data.size() + data.size() / 50 + 50), back(data.size() + 1);
    const auto made = deflated(data);
    ASSERT_EQ(coder.compress(data.span(), stream), made.size());
    EXPECT_EQ(Bytes::copyOf(std::span(stream).first(made.size())), made);
    for (const int form : {kGzipForm, kZlibForm}) {
      const auto other = deflated(data, {.form = form});
      ASSERT_EQ(coder.uncompress(other.span(), std::span(back).first(data.size())), data.size());
      EXPECT_EQ(Bytes::copyOf(std::span(back).first(data.size())), data);
      EXPECT_EQ(coder.uncompress(other.span(), std::span(back).first(data.size() - 1)), std::nullopt);
      EXPECT_EQ(coder.uncompress(other.slice(0, other.size() - 1).span(), back), std::nullopt);
    }
    EXPECT_EQ(coder.compress(data.span(), std::span(stream).first(made.size() - 1)), std::nullopt);
  }
  EXPECT_EQ(coder.compress({}, {}), std::nullopt);
  EXPECT_EQ(coder.uncompress({}, {}), 0);
}

TEST(CallerMemory, HoldsTheDigests) {
  const Bytes text = wordy(5000);
  for (const std::size_t size : {0, 3, 64, 65, 5000}) {
    const Bytes key = text.slice(0, size);
    const auto upper = KWTools::HexToData(KWHmacMD5::HmacMD5String(key.text()));
    EXPECT_EQ(Bytes::copyOf(md5(key.span())), upper);
    const auto keyed = KWTools::HexToData(KWHmacMD5::HmacMD5String_Key(text.text(), key.text()));
    EXPECT_EQ(Bytes::copyOf(hmacMd5(key.span(), text.span())), keyed);
  }
}

TEST(CallerMemory, IsAllThatIsUsed) {
  if (!kCounts) GTEST_SKIP() << "malloc is the sanitizer's";
  GzipCoder coder;
  const Bytes data = wordy(4096), stream = deflated(data);
  std::vector<std::uint8_t> room(20'000);
  std::vector<char> text(8192);
  const std::uint64_t before = allocations;
  bool done = coder.compress(data.span(), room) == stream.size();
  done &= coder.uncompress(stream.span(), room) == data.size();
  done &= !coder.uncompress(stream.slice(0, 500).span(), room);  // zlib judges
  done &= aes128::encrypt(aes128::Key(data.data(), 16), data.span(), room);
  done &= aes128::decrypt(aes128::Key(data.data(), 16), data.span(), room);
  done &= crc32(data.span()) != 0 && crc16(data.span()) != 0;
  done &= md5(data.span()) != hmacMd5(data.span(), data.span());
  done &= hex::encode(data.span(), text) == 8192 && hex::decode({text.data(), 8192}, room) == 4096;
  EXPECT_EQ(allocations, before);
  EXPECT_TRUE(done);
  EXPECT_GT((KWTools::dataToHex(data), allocations), before) << "it does count";
}

}  // namespace
}  // namespace vantrel
