#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Export.h"
#include "vantrel/base/Result.h"
#include "vantrel/base/io/Descriptor.h"
#include "vantrel/base/io/PathArgument.h"

/// Files read whole or in pieces.
///
/// A path that is absent, empty or holds a zero byte names nothing (ENOENT). What fails gives the system's
/// error. Threads: any; nothing is shared but the file system.
namespace vantrel::files {

/// The most that is read into memory at once unless a caller asks for less or more: 2 GiB.
inline constexpr std::uint64_t kLargestInMemory = std::uint64_t{2} << 30;

/// How large a piece `readPieces` hands over.
inline constexpr std::size_t kPiece = std::size_t{256} << 10;

/// The whole contents of a regular file. EINVAL for anything else (a pipe or a device might never end),
/// EISDIR for a folder, EFBIG for more than `most` bytes. The file may change while it is read: what was
/// there when its turn came is what is given.
VANTREL_EXPORT Result<Bytes> read(PathArgument path, std::uint64_t most = kLargestInMemory);

/// The rest of what an open descriptor gives, be it a file, a pipe or a device.
VANTREL_EXPORT Result<Bytes> readRest(int descriptor, std::uint64_t most = kLargestInMemory);

/// Hands the rest of what a descriptor gives to `take`, in pieces of `kPiece` bytes of which only the last is
/// shorter, until it gives false; that is no failure. The bytes are good during the call. Memory stays flat
/// whatever the size.
VANTREL_EXPORT Result<void> readPieces(int descriptor,
                                       const std::function<bool(std::span<const std::uint8_t>)>& take);

/// Where the links at a path's end lead to, whether anything is there or not; ELOOP when they lead in
/// circles.
VANTREL_EXPORT Result<std::filesystem::path> resolved(PathArgument path);

/// Opens for reading; does not wait for somebody to write to a pipe, which then reads as empty.
VANTREL_EXPORT Result<Descriptor> openToRead(PathArgument path);

/// Writes all of it, or fails in the middle.
VANTREL_EXPORT Result<void> write(int descriptor, std::span<const std::uint8_t> contents);

/// The contents of a regular file where they lie, read as they are looked at. Only for files that nobody else
/// changes: when the file is cut, looking at what was behind the cut ends the process (SIGBUS). The library
/// itself maps nothing; everything that others can change is read with `read`.
VANTREL_EXPORT Result<Bytes> map(PathArgument path);

}  // namespace vantrel::files
