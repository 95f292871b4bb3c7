#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Export.h"

/// Whole files in and out, for this room and those above it. Paths to write to must not hold NUL bytes.
namespace vantrel::system::detail {

/// A larger file is not read into memory.
inline constexpr std::size_t kLargestReadFile = std::size_t{2} << 30;

/// The contents of a regular file. Absent when the path is empty or holds a NUL byte, for anything but a
/// regular file (a pipe or a device might never end), and when it is too large or cannot be read to its end.
VANTREL_EXPORT std::optional<Bytes> readFile(std::string_view path);

/// See KWFile::writeData_fillFile.
bool replaceFile(const std::string& path, const Bytes& data);

/// See KWFile::writeData_endFile.
void appendToFile(const std::string& path, const Bytes& data);

}  // namespace vantrel::system::detail
