#include "vantrel/codec/KWGzip.h"

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <utility>

#include "tests/codec/GzipStreams.h"
#include "tests/support/Exactly.h"
#include "tests/support/LogLines.h"
#include "vantrel/codec/KWTools.h"

namespace {

/// What zlib's next call of the name is to give and to leave as its message (which may be null).
struct Failure {
  const char* function;
  int code;
  const char* text;
};
std::optional<Failure> wanted;

// In place of zlib's function, which this program hides.
template <typename Function, typename... Arguments>
int failOrCall(const char* name, z_streamp stream, Arguments... arguments) {
  if (!wanted || std::string_view(wanted->function) != name)
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name))(stream, arguments...);
  stream->msg = const_cast<char*>(wanted->text);
  return std::exchange(wanted, std::nullopt)->code;
}

}  // namespace

int deflateInit2_(z_streamp stream, int level, int method, int windowBits, int memLevel, int strategy,
                  const char* version, int size) {
  return failOrCall<decltype(deflateInit2_)>("deflateInit2_", stream, level, method, windowBits, memLevel,
                                             strategy, version, size);
}

int deflate(z_streamp stream, int flush) { return failOrCall<decltype(deflate)>("deflate", stream, flush); }

namespace vantrel::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

TEST(KWGzipTest, CompressesAsZlibDoesWithADefaultLevelAndAGzipHeader) {
  LogLines lines;
  for (const Bytes& data : {wordy(1), wordy(2000), wordy(300'000), zeros(1000), zeros(1'000'000), noise(200),
                            noise(201), noise(300), noise(70'000)}) {
    const auto stream = KWGzip::gzipData(data);
    ASSERT_THAT(stream, Optional(deflated(data))) << data.size();
    EXPECT_EQ(stream->slice(0, 10), Bytes({0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 3}));
    EXPECT_EQ(KWGzip::uncompressZippedData(stream), data);
  }
  EXPECT_THAT(lines.take(), IsEmpty());
}

TEST(KWGzipTest, SaysOnceWhyItDoesNotCompress) {
  const std::string nothing = " Error: Can't compress an empty or nil NSData object";
  const std::string start = "deflateInit2() Error: ", failure = "zlib error while attempting compression: ";
  const std::string version =
      "\"The version of zlib.h and the version of the library linked do not match.\" Message: \"(null)\"";
  const std::string unknown = "\"Unknown error code.\" Message: \"(null)\"";
  const std::string full = "\"Ran out of output buffer for writing compressed bytes.\" Message: ";
  const char* const kInit = "deflateInit2_";
  const struct {
    std::optional<Failure> failure;
    std::string line;
    std::optional<Bytes> data = zeros(100);
  } cases[] = {
      {{}, nothing, std::nullopt},
      {{}, nothing, Bytes()},
      // Short data that do not shrink have no room.
      {{}, failure + full + "\"buffer error\"", noise(60)},
      {{}, failure + full + "\"buffer error\"", noise(199)},
      {{{kInit, Z_VERSION_ERROR, nullptr}}, start + version},
      {{{kInit, Z_MEM_ERROR, "no heap"}}, start + "\"Insufficient memory.\" Message: \"no heap\""},
      {{{kInit, Z_STREAM_ERROR, ""}}, start + "\"Invalid parameter passed in to function.\" Message: \"\""},
      {{{kInit, Z_BUF_ERROR, nullptr}}, start + unknown},
      {{{kInit, Z_STREAM_END, nullptr}}, start + unknown},
      {{{"deflate", Z_VERSION_ERROR, nullptr}}, failure + version},
      {{{"deflate", Z_BUF_ERROR, "full"}}, failure + full + "\"full\""},
      {{{"deflate", Z_MEM_ERROR, nullptr}},
       failure + "\"Memory could not be allocated for processing.\" Message: \"(null)\""},
      {{{"deflate", Z_DATA_ERROR, nullptr}},
       failure + "\"The deflate data was invalid or incomplete.\" Message: \"(null)\""},
      {{{"deflate", Z_STREAM_ERROR, nullptr}},
       failure +
           "\"The stream state was inconsistent (e.g., next_in or next_out was NULL).\" Message: \"(null)\""},
      {{{"deflate", Z_ERRNO, nullptr}},
       failure + "\"Error occured while reading file.\" Message: \"(null)\""},
      {{{"deflate", Z_NEED_DICT, nullptr}}, failure + unknown},
  };
  for (const auto& [fault, line, data] : cases) {
    LogLines lines;
    wanted = fault;
    EXPECT_EQ(KWGzip::gzipData(data), std::nullopt) << line;
    EXPECT_THAT(lines.take(), ElementsAre("+[KWGzip gzipData:]:" + line));
  }
}

// Made with gzip and Python's zlib.
TEST(KWGzipTest, ReadsTheStreamsOfOthers) {
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

/// Bytes whose block ends where they do.
std::optional<Bytes> unpacked(const Bytes& stream) {
  const Exactly block(stream.text());
  const auto* const first = reinterpret_cast<const std::uint8_t*>(std::string_view(block).data());
  return KWGzip::uncompressZippedData(Bytes::sharing({first, stream.size()}, nullptr));
}

TEST(KWGzipTest, RefusesWhatIsNoSoundStream) {
  LogLines lines;
  for (std::string_view stream : {
           "00", "1f", "1f8b", "78", "789c", "ffffffffffffffffffffffffffffffff",
           "f348cdc9c9d75148afca2c50e4f240e60000",  // raw deflate data
           "78f91f800426f3c0c9010074e1084b",        // needs a preset dictionary
           "1f8b0820000000000003f348cdc9c9d75148afca2c50e4f240e60000043624031a000000",  // a reserved flag
           "1f8b0800000000000003f348cdc9c9d75148afca2c50e4f240e60000053624031a000000",  // checksum
           "1f8b0800000000000003f348cdc9c9d75148afca2c50e4f240e60000043624031b000000",  // length
           "1f8b0800000000000003f348cdc9c9d75148afca2c50e4f240e6000004362403ffffffff",  // length
           "789cf348cdc9c9d75148afca2c50e4f240e6000074e1084c",                          // checksum
       })
    EXPECT_EQ(unpacked(KWTools::HexToData(stream)), std::nullopt) << stream;
  EXPECT_EQ(KWGzip::uncompressZippedData(std::nullopt), std::nullopt);
  EXPECT_THAT(KWGzip::uncompressZippedData(Bytes()), Optional(Bytes())) << "nothing is nothing compressed";
  EXPECT_THAT(lines.take(), IsEmpty()) << "decompression is silent";
}

TEST(KWGzipTest, ReadsOneMemberAndIgnoresWhatFollows) {
  for (const Bytes& rest : {deflated(wordy(900)), noise(1), zeros(100'000)})
    EXPECT_THAT(unpacked(joined(deflated(wordy(500)), rest)), Optional(wordy(500))) << rest.size();
}

TEST(KWGzipTest, RefusesEveryTruncation) {
  for (const int form : {kGzipForm, kZlibForm}) {
    // Every kind of block, and in the last several of them.
    const std::pair<Bytes, Deflate> streams[] = {
        {Bytes(), {form}},       {noise(40), {form, 0}},      {wordy(200), {form, 9, 8, Z_FIXED}},
        {wordy(800), {form, 9}}, {wordy(3000), {form, 9, 1}},
    };
    for (const auto& [contents, how] : streams) {
      const Bytes stream = deflated(contents, how);
      ASSERT_THAT(unpacked(stream), Optional(contents));
      for (std::size_t size = 1; size < stream.size(); ++size)
        ASSERT_EQ(unpacked(stream.slice(0, size)), std::nullopt) << size;
    }
  }
}

}  // namespace
}  // namespace vantrel::tests
