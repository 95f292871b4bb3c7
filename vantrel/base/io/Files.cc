#include "vantrel/base/io/Files.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace vantrel::files {
namespace {

/// The path as the system takes it; a zero byte would cut it short there.
Result<std::string> named(PathArgument path) {
  if ((*path).empty() || (*path).find('\0') != std::string_view::npos) return Error::ofSystem(ENOENT);
  return std::string(*path);
}

/// Fills the buffer as far as there is input: pipes give less than is asked for. Negative when that fails.
ssize_t fill(int descriptor, std::span<std::uint8_t> room) {
  std::size_t filled = 0;
  while (filled < room.size()) {
    const ssize_t count = ::read(descriptor, room.data() + filled, room.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return -1;
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(filled);
}

constexpr std::size_t kAtOnce = 4096;

/// A regular file and its size.
struct Opened {
  Descriptor file;
  std::uint64_t size = 0;
};

Result<Opened> openRegular(PathArgument path) {
  Result<Descriptor> file = openToRead(path);
  if (!file) return file.error();
  struct stat status {};
  if (::fstat(file->get(), &status) != 0) return Error::ofSystem(errno);
  if (S_ISDIR(status.st_mode)) return Error::ofSystem(EISDIR);
  if (!S_ISREG(status.st_mode)) return Error::ofSystem(EINVAL);
  return Opened{*std::move(file), static_cast<std::uint64_t>(status.st_size)};
}

/// Memory for contents of a length that only their end tells: enlarged in place where that is possible, and
/// not cleared before it is filled.
class Room {
 public:
  void enlarge(std::size_t size) {
    void* const moved = std::realloc(memory_.get(), size);
    if (moved == nullptr) throw std::bad_alloc();
    static_cast<void>(memory_.release());
    memory_.reset(static_cast<std::uint8_t*>(moved));
    size_ = size;
  }

  std::size_t size() const { return size_; }
  std::span<std::uint8_t> behind(std::size_t filled) { return {memory_.get() + filled, size_ - filled}; }

  Bytes take(std::size_t length) {
    if (length == 0) return {};
    if (length < size_) enlarge(length);
    const std::shared_ptr<const std::uint8_t> owner(std::move(memory_));
    return Bytes::sharing({owner.get(), length}, owner);
  }

 private:
  struct Free {
    void operator()(std::uint8_t* memory) const { std::free(memory); }
  };

  std::unique_ptr<std::uint8_t, Free> memory_;
  std::size_t size_ = 0;
};

Result<Bytes> readToEnd(int descriptor, std::uint64_t expected, std::uint64_t most) {
  Room room;
  // A byte more than expected shows the end; the size may be wrong by now, and is 0 for what the kernel makes
  // up on the fly, best read at once.
  room.enlarge(std::max<std::uint64_t>(expected + 1, kAtOnce));
  for (std::size_t filled = 0;;) {
    const ssize_t count = fill(descriptor, room.behind(filled));
    if (count < 0) return Error::ofSystem(errno);
    filled += static_cast<std::size_t>(count);
    if (filled > most) return Error::ofSystem(EFBIG);
    if (filled < room.size()) return room.take(filled);
    // Not past the byte that shows that there is too much.
    const std::uint64_t next = std::max<std::uint64_t>(kPiece, filled + filled / 2);
    room.enlarge(next > most ? most + 1 : next);
  }
}

std::uint64_t restOf(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  const off_t at = ::lseek(descriptor, 0, SEEK_CUR);
  return at >= 0 && at < status.st_size ? static_cast<std::uint64_t>(status.st_size - at) : 0;
}

struct Mapping {
  void* address = MAP_FAILED;
  std::size_t size = 0;

  Mapping() = default;
  ~Mapping() {
    if (address != MAP_FAILED) ::munmap(address, size);
  }
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;
};

}  // namespace

Result<Bytes> read(PathArgument path, std::uint64_t most) {
  const Result<Opened> opened = openRegular(path);
  if (!opened) return opened.error();
  if (opened->size > most) return Error::ofSystem(EFBIG);
  return readToEnd(opened->file.get(), opened->size, most);
}

Result<Bytes> readRest(int descriptor, std::uint64_t most) {
  const std::uint64_t expected = restOf(descriptor);
  if (expected > most) return Error::ofSystem(EFBIG);
  return readToEnd(descriptor, expected, most);
}

Result<void> readPieces(int descriptor, const std::function<bool(std::span<const std::uint8_t>)>& take) {
  std::vector<std::uint8_t> piece(kPiece);
  for (;;) {
    const ssize_t count = fill(descriptor, piece);
    if (count < 0) return Error::ofSystem(errno);
    if (count == 0 || !take({piece.data(), static_cast<std::size_t>(count)})) return {};
    if (static_cast<std::size_t>(count) < piece.size()) return {};
  }
}

Result<std::filesystem::path> resolved(PathArgument from) {
  constexpr int kMostLinks = 40;
  Result<std::string> name = named(from);
  if (!name) return name.error();
  std::filesystem::path path = *std::move(name);
  std::error_code error;
  for (int links = 0; std::filesystem::is_symlink(path, error); ++links) {
    if (links == kMostLinks) return Error::ofSystem(ELOOP);
    const std::filesystem::path target = std::filesystem::read_symlink(path, error);
    if (error) return Error::ofSystem(error.value());
    path = path.parent_path() / target;
  }
  return path;
}

Result<Descriptor> openToRead(PathArgument path) {
  const Result<std::string> name = named(path);
  if (!name) return name.error();
  Descriptor file(::open(name->c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file) return Error::ofSystem(errno);
  // Only the opening must not wait; a pipe that has a writer is read to its end.
  if (::fcntl(file.get(), F_SETFL, O_RDONLY) != 0) return Error::ofSystem(errno);
  return file;
}

Result<void> write(int descriptor, std::span<const std::uint8_t> contents) {
  while (!contents.empty()) {
    const ssize_t count = ::write(descriptor, contents.data(), contents.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return Error::ofSystem(errno);
    if (count == 0) return Error::ofSystem(EIO);
    contents = contents.subspan(static_cast<std::size_t>(count));
  }
  return {};
}

Result<Bytes> map(PathArgument path) {
  const Result<Opened> opened = openRegular(path);
  if (!opened) return opened.error();
  if (opened->size == 0) return Bytes();
  const auto mapping = std::make_shared<Mapping>();
  mapping->size = opened->size;
  mapping->address = ::mmap(nullptr, mapping->size, PROT_READ, MAP_PRIVATE, opened->file.get(), 0);
  if (mapping->address == MAP_FAILED) return Error::ofSystem(errno);
  return Bytes::sharing({static_cast<const std::uint8_t*>(mapping->address), mapping->size}, mapping);
}

}  // namespace vantrel::files
