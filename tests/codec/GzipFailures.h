#pragma once

/// Compression that fails on demand: in a program that links this, zlib's functions are called through here.
/// Threads: for tests of one thread.
namespace vantrel::tests {

/// The next start of a compression gives this code and leaves this text (which may be null) in the stream.
void failNextDeflateInit(int code, const char* text);

/// The next step of a compression does.
void failNextDeflate(int code, const char* text);

}  // namespace vantrel::tests
