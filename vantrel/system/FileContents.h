#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "vantrel/platform/Bytes.h"

/// Whole files in and out. Paths must not hold NUL bytes.
namespace vantrel::system::detail {

/// A larger file is not read into memory.
inline constexpr std::size_t kLargestReadFile = std::size_t{1} << 30;

/// The contents of a regular file; absent when it cannot be read to its end.
std::optional<std::string> readFile(const std::string& path);

/// See KWFile::writeData_fillFile.
bool replaceFile(const std::string& path, const Bytes& data);

/// See KWFile::writeData_endFile.
void appendToFile(const std::string& path, const Bytes& data);

}  // namespace vantrel::system::detail
