#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "vantrel/base/Bytes.h"

/// Files and standard input ("-"). What cannot be read is told in a message.
namespace app {

/// Hands the contents to `take` in pieces of 256 KiB (the last may be shorter) until it gives false; a piece
/// is good during the call. False when reading failed; that `take` ended it is no failure.
bool readPieces(const std::string& path, const std::function<bool(const vantrel::Bytes&)>& take);

/// The whole contents, read once to where they stay.
std::optional<vantrel::Bytes> readAll(const std::string& path);

/// The same, when they are `most` bytes at most. A larger file is refused before it is read.
std::optional<vantrel::Bytes> readAtMost(const std::string& path, std::uint64_t most);

/// How many bytes there are to read; absent for what only its end tells, like a pipe.
std::optional<std::uint64_t> sizeOfInput(const std::string& path);

/// The text that an argument gives: itself, or what standard input holds ("-"), without a line end.
std::optional<std::string> textOf(const std::string& argument);

/// What messages call the input.
std::string nameOfInput(const std::string& path);

/// A whole decimal or 0x-hexadecimal number, absent for anything else and past 64 bits.
std::optional<std::uint64_t> parseUnsigned(const std::string& text);
std::optional<std::int64_t> parseSigned(const std::string& text);

/// A finite number, absent for anything else.
std::optional<double> parseNumber(const std::string& text);

}  // namespace app
