#pragma once

#include <string>
#include <string_view>

#include "vantrel/base/ValueTree.h"

/// Data goes to standard output, messages to standard error.
namespace app {

/// Keeps 0, 1 and 2 from being given to files when they were closed, and lets a write to a closed pipe fail
/// instead of ending the process. Called once, first.
void prepareStreams();

/// Writes to standard output. False once a write has failed: the caller stops and ends with `kFailed`.
bool write(std::string_view text);
bool writeLine(std::string_view line);
bool flushOutput();

/// Writes what is still held back. Gives `status`, or `kFailed` when output was lost; that the reader has
/// gone is no news to anyone, every other reason is told, once.
int finishOutput(int status);

/// The text with control characters and what is not UTF-8 written as "\x1b", for terminals and logs: names of
/// files may hold any bytes.
std::string escaped(std::string_view text);

/// One line on standard error: "vantrel: " and the text, escaped.
void message(std::string_view text);

/// What the library logs, as lines on standard error, escaped.
void logLine(std::string_view line);

/// The same, as the last thing that a command does.
int failed(std::string_view text);
int wrongUsage(std::string_view text);

/// The value as JSON can hold it: dates become ISO 8601 text in UTC, bytes hexadecimal text, and numbers that
/// are not finite null.
vantrel::ValueTree asJson(const vantrel::ValueTree& value);

/// A name or path, whose bytes need not be UTF-8: text, or else {"hex": ...} with its bytes.
vantrel::ValueTree nameAsJson(std::string_view name);

/// One value as pretty-printed JSON, or on one line, with what JSON cannot hold replaced as above.
bool writeJson(const vantrel::ValueTree& value);
bool writeJsonLine(const vantrel::ValueTree& value);

}  // namespace app
