#include "vantrel/codec/KWGzip.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/codec/GzipFailures.h"
#include "tests/codec/GzipStreams.h"
#include "vantrel/base/Log.h"
#include "vantrel/codec/KWTools.h"

namespace vantrel {
namespace {

using namespace tests;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

class KWGzipTest : public ::testing::Test {
 protected:
  std::vector<std::string> lines_;
  ScopedLogSink sink_{[this](std::string_view line) { lines_.emplace_back(line); }};
};

TEST_F(KWGzipTest, CompressesAsZlibDoesWithADefaultLevelAndAGzipHeader) {
  const Bytes kinds[] = {wordy(1),         wordy(2000),      wordy(300'000),     zeros(1000),
                         zeros(1'000'000), randomBytes(300), randomBytes(70'000)};
  for (const Bytes& data : kinds) {
    const auto stream = KWGzip::gzipData(data);
    ASSERT_THAT(stream, Optional(deflated(data, kGzipForm))) << data.size();
    EXPECT_EQ(stream->slice(0, 10), Bytes({0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 3}));
    EXPECT_EQ(KWGzip::uncompressZippedData(stream), data);
  }
  EXPECT_THAT(lines_, IsEmpty());
}

TEST_F(KWGzipTest, SaysOnceThatThereIsNothingToCompress) {
  const std::string line = "+[KWGzip gzipData:]: Error: Can't compress an empty or nil NSData object";
  EXPECT_EQ(KWGzip::gzipData(std::nullopt), std::nullopt);
  EXPECT_THAT(lines_, ElementsAre(line));
  EXPECT_EQ(KWGzip::gzipData(Bytes()), std::nullopt);
  EXPECT_THAT(lines_, ElementsAre(line, line));
}

TEST_F(KWGzipTest, HasNoRoomForShortDataThatDoNotShrink) {
  for (std::size_t size : {60U, 100U, 199U}) {
    lines_.clear();
    EXPECT_EQ(KWGzip::gzipData(randomBytes(size)), std::nullopt) << size;
    EXPECT_THAT(lines_,
                ElementsAre("+[KWGzip gzipData:]:zlib error while attempting compression: \"Ran out of "
                            "output buffer for writing compressed bytes.\" Message: \"buffer error\""));
  }
  for (std::size_t size : {200U, 201U, 300U, 20'000U}) {
    const auto stream = KWGzip::gzipData(randomBytes(size));
    ASSERT_TRUE(stream) << size;
    EXPECT_EQ(KWGzip::uncompressZippedData(stream), randomBytes(size));
  }
}

TEST_F(KWGzipTest, DescribesWhyCompressionDoesNotStart) {
  struct Case {
    int code;
    const char* text;
    std::string line;
  };
  const std::string front = "+[KWGzip gzipData:]:deflateInit2() Error: ";
  const Case cases[] = {
      {Z_VERSION_ERROR, nullptr,
       "\"The version of zlib.h and the version of the library linked do not match.\" Message: \"(null)\""},
      {Z_MEM_ERROR, "no heap", "\"Insufficient memory.\" Message: \"no heap\""},
      {Z_STREAM_ERROR, "", "\"Invalid parameter passed in to function.\" Message: \"\""},
      {Z_BUF_ERROR, nullptr, "\"Unknown error code.\" Message: \"(null)\""},
      {Z_STREAM_END, nullptr, "\"Unknown error code.\" Message: \"(null)\""},
  };
  for (const auto& [code, text, line] : cases) {
    lines_.clear();
    failNextDeflateInit(code, text);
    EXPECT_EQ(KWGzip::gzipData(zeros(100)), std::nullopt) << code;
    EXPECT_THAT(lines_, ElementsAre(front + line));
  }
}

TEST_F(KWGzipTest, DescribesWhyCompressionFails) {
  struct Case {
    int code;
    const char* text;
    std::string line;
  };
  const std::string front = "+[KWGzip gzipData:]:zlib error while attempting compression: ";
  const Case cases[] = {
      {Z_VERSION_ERROR, nullptr,
       "\"The version of zlib.h and the version of the library linked do not match.\" Message: \"(null)\""},
      {Z_BUF_ERROR, "full", "\"Ran out of output buffer for writing compressed bytes.\" Message: \"full\""},
      {Z_MEM_ERROR, nullptr, "\"Memory could not be allocated for processing.\" Message: \"(null)\""},
      {Z_DATA_ERROR, nullptr, "\"The deflate data was invalid or incomplete.\" Message: \"(null)\""},
      {Z_STREAM_ERROR, nullptr,
       "\"The stream state was inconsistent (e.g., next_in or next_out was NULL).\" Message: \"(null)\""},
      {Z_ERRNO, nullptr, "\"Error occured while reading file.\" Message: \"(null)\""},
      {Z_NEED_DICT, nullptr, "\"Unknown error code.\" Message: \"(null)\""},
      {-7, nullptr, "\"Unknown error code.\" Message: \"(null)\""},
  };
  for (const auto& [code, text, line] : cases) {
    lines_.clear();
    failNextDeflate(code, text);
    EXPECT_EQ(KWGzip::gzipData(zeros(100)), std::nullopt) << code;
    EXPECT_THAT(lines_, ElementsAre(front + line));
  }
}

TEST_F(KWGzipTest, GivesNothingBackForNothing) {
  EXPECT_EQ(KWGzip::uncompressZippedData(std::nullopt), std::nullopt);
  EXPECT_THAT(KWGzip::uncompressZippedData(Bytes()), Optional(Bytes()));
}

// Made with gzip and Python's zlib.
TEST_F(KWGzipTest, ReadsTheStreamsOfOthers) {
  const Bytes hello = Bytes::copyOf("Hello, gzip!\nHello, gzip!\n");
  const std::string_view streams[] = {
      "1f8b0800000000000003f348cdc9c9d75148afca2c50e4f240e60000043624031a000000",
      "1f8b08087305046b020368656c6c6f2e74787400f348cdc9c9d75148afca2c50e4f240e60000043624031a000000",
      // Text flag, time, extra field, a name that is not ASCII, comment, checksum of the header.
      "1f8b081f00000065020706004142020078796ee46d65006120636f6d6d656e7400dcfdf348cdc9c9d75148afca2c50e4f240e6"
      "0000043624031a000000",
      "789cf348cdc9c9d75148afca2c50e4f240e6000074e1084b",
  };
  for (std::string_view stream : streams)
    EXPECT_THAT(KWGzip::uncompressZippedData(KWTools::HexToData(stream)), Optional(hello)) << stream;
}

TEST_F(KWGzipTest, RefusesWhatIsNoSoundStream) {
  const std::string_view streams[] = {
      "00",
      "1f",
      "1f8b",
      "78",
      "789c",
      "ffffffffffffffffffffffffffffffff",
      "f348cdc9c9d75148afca2c50e4f240e60000",  // raw deflate data
      "78f91f800426f3c0c9010074e1084b",        // needs a preset dictionary
      "1f8b0820000000000003f348cdc9c9d75148afca2c50e4f240e60000043624031a000000",  // a reserved flag
      "1f8b0800000000000003f348cdc9c9d75148afca2c50e4f240e60000053624031a000000",  // checksum
      "1f8b0800000000000003f348cdc9c9d75148afca2c50e4f240e60000043624031b000000",  // length
      "1f8b0800000000000003f348cdc9c9d75148afca2c50e4f240e6000004362403ffffffff",  // length
      "789cf348cdc9c9d75148afca2c50e4f240e6000074e1084c",                          // checksum
      "1f8b081f00000065020706004142020078796ee46d65006120636f6d6d656e7400dcfcf348cdc9c9d75148afca2c50e4f240e6"
      "0000043624031a000000",  // checksum of the header
  };
  for (std::string_view stream : streams)
    EXPECT_EQ(KWGzip::uncompressZippedData(KWTools::HexToData(stream)), std::nullopt) << stream;
  EXPECT_THAT(lines_, IsEmpty()) << "decompression is silent";
}

TEST_F(KWGzipTest, ReadsOneMemberAndIgnoresWhatFollows) {
  const Bytes first = deflated(wordy(500), kGzipForm);
  for (const Bytes& rest : {deflated(wordy(900), kGzipForm), randomBytes(1), zeros(100'000)})
    EXPECT_THAT(KWGzip::uncompressZippedData(joined(first, rest)), Optional(wordy(500))) << rest.size();
}

TEST_F(KWGzipTest, UnpacksEverySizeAtEveryRatio) {
  for (int form : {kGzipForm, kZlibForm}) {
    for (std::size_t size = 0; size < 1500; ++size) {
      for (const Bytes& data : {zeros(size), wordy(size), randomBytes(size)})
        ASSERT_THAT(KWGzip::uncompressZippedData(deflated(data, form)), Optional(data)) << size;
    }
  }
  EXPECT_THAT(KWGzip::uncompressZippedData(deflated(zeros(1'000'000), kGzipForm)),
              Optional(zeros(1'000'000)));
}

// Every kind of block, and in the last several of them.
std::vector<std::pair<Bytes, Bytes>> smallStreams() {
  std::vector<std::pair<Bytes, Bytes>> streams;
  for (int form : {kGzipForm, kZlibForm}) {
    streams.emplace_back(deflated(Bytes(), form), Bytes());
    streams.emplace_back(deflated(randomBytes(40), form, 0), randomBytes(40));
    streams.emplace_back(deflated(wordy(200), form, 9, 8, Z_FIXED), wordy(200));
    streams.emplace_back(deflated(wordy(800), form, 9), wordy(800));
    streams.emplace_back(deflated(wordy(3000), form, 9, 1), wordy(3000));
  }
  return streams;
}

TEST_F(KWGzipTest, RefusesEveryTruncation) {
  for (const auto& [stream, contents] : smallStreams()) {
    ASSERT_THAT(KWGzip::uncompressZippedData(stream), Optional(contents));
    for (std::size_t size = 1; size < stream.size(); ++size)
      ASSERT_EQ(KWGzip::uncompressZippedData(stream.slice(0, size)), std::nullopt) << size;
  }
}

TEST_F(KWGzipTest, NeverGivesOtherBytesForAFlippedBit) {
  for (const auto& [stream, contents] : smallStreams()) {
    const bool gzip = stream[0] == 0x1F;
    const std::size_t trailer = stream.size() - (gzip ? 8 : 4);
    for (std::size_t bit = 0; bit < 8 * stream.size(); ++bit) {
      std::vector<std::uint8_t> flipped(stream.begin(), stream.end());
      flipped[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
      const auto result = KWGzip::uncompressZippedData(Bytes(std::move(flipped)));
      // The text flag, the time, what the compressor says of itself.
      const bool ignored = gzip && (bit == 24 || (bit >= 32 && bit < 80));
      const bool checked = bit / 8 >= trailer;
      if (ignored) {
        ASSERT_THAT(result, Optional(contents)) << bit;
      } else if (checked) {
        ASSERT_EQ(result, std::nullopt) << bit;
      } else if (result) {
        ASSERT_EQ(*result, contents) << bit;
      }
    }
  }
}

TEST_F(KWGzipTest, ServesSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (std::uint32_t seed = 0; seed < 4; ++seed) {
    threads.emplace_back([seed] {
      for (std::size_t size = 300; size < 340; ++size) {
        const Bytes data = joined(randomBytes(size, seed), wordy(size));
        EXPECT_THAT(KWGzip::uncompressZippedData(KWGzip::gzipData(data)), Optional(data));
        KWGzip::setUncompressedLimit(KWGzip::uncompressedLimit());
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace vantrel
