#include "vantrel/base/io/Files.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

#include "tests/support/ScratchFolder.h"

namespace vantrel {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using tests::ScratchFolder;

std::string text(const Result<Bytes>& contents) {
  return contents ? std::string(contents->text()) : "error " + std::to_string(contents.error().code);
}

std::string failure(int code) { return "error " + std::to_string(code); }

TEST(Files, ReadsRegularFilesAndSaysWhatElseIsWrong) {
  const ScratchFolder folder;
  const std::string contents = "\0contents\n"s + std::string(1'000'000, 'x');
  folder.put("file", contents);
  folder.put("empty", "");
  fs::create_directory(folder.at("folder"));
  fs::create_symlink("file", folder.at("link"));
  ::mkfifo(folder.at("pipe").c_str(), 0666);
  ::chmod(folder.put("closed", "secret").c_str(), 0);
  const tests::AsOrdinaryUser user;
  const std::pair<std::string, std::string> kFiles[] = {
      {"file", contents},          {"link", contents},           {"empty", ""},
      {"folder", failure(EISDIR)}, {"pipe", failure(EINVAL)},    {"closed", failure(EACCES)},
      {"none", failure(ENOENT)},   {"file/x", failure(ENOTDIR)}, {"file\0x"s, failure(ENOENT)}};
  for (const auto& [name, expected] : kFiles) {
    EXPECT_EQ(text(files::read(folder.at(name))), expected) << name;
    EXPECT_EQ(text(files::map(folder.at(name))), expected) << name;
  }
  EXPECT_EQ(text(files::read("/dev/zero")), failure(EINVAL));
  EXPECT_EQ(text(files::read("")), failure(ENOENT));
  EXPECT_NE(text(files::read("/proc/self/status")).find("\nUmask:"), std::string::npos) << "its size says 0";
}

TEST(Files, ReadsNoMoreThanTheBound) {
  const ScratchFolder folder;
  const std::string file = folder.put("file", std::string(100'000, 'x'));
  EXPECT_TRUE(files::read(file, 100'000));
  EXPECT_EQ(text(files::read(file, 99'999)), failure(EFBIG));
  EXPECT_EQ(text(files::read(folder.put("empty", ""), 0)), "");
  EXPECT_EQ(text(files::read("/proc/self/status", 10)), failure(EFBIG));
  EXPECT_EQ(text(files::read("/proc/self/mem")), failure(EIO)) << "opened, but not read";
  fs::resize_file(file, std::uintmax_t{1} << 40);
  EXPECT_EQ(text(files::read(file)), failure(EFBIG));
}

TEST(Files, ReadsTheRestOfAnyDescriptor) {
  const ScratchFolder folder;
  const Descriptor file(::open(folder.put("file", "abcdef").c_str(), O_RDONLY));
  ::lseek(file.get(), 2, SEEK_SET);
  EXPECT_EQ(text(files::readRest(file.get())), "cdef");
  EXPECT_EQ(text(files::readRest(file.get())), "");
  EXPECT_EQ(text(files::readRest(-1)), failure(EBADF));

  const std::string long_(3 * files::kPiece + 7, 'y');
  for (const auto& [most, expected] : {std::pair(files::kLargestInMemory, long_),
                                       {long_.size(), long_},
                                       {long_.size() - 1, failure(EFBIG)}}) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const Descriptor in(ends[0]);
    std::thread writer([&long_, out = Descriptor(ends[1])] {
      EXPECT_TRUE(files::write(out.get(), Bytes::copyOf(long_).span()));
    });
    EXPECT_EQ(text(files::readRest(in.get(), most)), expected);
    while (text(files::readRest(in.get())) != "") {
    }
    writer.join();
  }
}

TEST(Files, HandsOverPiecesOfAFileThatGrowsOrShrinksMeanwhile) {
  constexpr std::size_t kTwo = 2 * files::kPiece;
  const std::pair<std::size_t, std::vector<std::size_t>> cases[] = {
      {kTwo, {files::kPiece, files::kPiece}},
      {kTwo + 5, {files::kPiece, files::kPiece, 5}},
      {files::kPiece + 5, {files::kPiece, 5}},
      {0, {files::kPiece}}};
  const ScratchFolder folder;
  for (const auto& each : cases) {
    const std::string name = folder.put("file", std::string(kTwo, 'x'));
    const Result<Descriptor> file = files::openToRead(name);
    std::vector<std::size_t> pieces;
    EXPECT_TRUE(files::readPieces(file->get(), [&](std::span<const std::uint8_t> piece) {
      pieces.push_back(piece.size());
      fs::resize_file(name, each.first);
      return true;
    }));
    EXPECT_EQ(pieces, each.second);
  }
  int calls = 0;
  const Result<Descriptor> endless = files::openToRead("/dev/zero");
  EXPECT_TRUE(files::readPieces(endless->get(), [&](auto) { return ++calls < 3; }));
  EXPECT_EQ(calls, 3);
}

}  // namespace
}  // namespace vantrel
