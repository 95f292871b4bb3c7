#include "tests/codec/GzipFailures.h"

#include <dlfcn.h>
#include <zlib.h>

#include <optional>
#include <utility>

namespace {

struct Failure {
  int code;
  const char* text;

  int in(z_streamp stream) const {
    stream->msg = const_cast<char*>(text);
    return code;
  }
};

std::optional<Failure> nextInit;
std::optional<Failure> nextStep;

// The function that this program hides.
template <typename Function>
Function* original(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void vantrel::tests::failNextDeflateInit(int code, const char* text) { nextInit = Failure{code, text}; }

void vantrel::tests::failNextDeflate(int code, const char* text) { nextStep = Failure{code, text}; }

int deflateInit2_(z_streamp stream, int level, int method, int windowBits, int memLevel, int strategy,
                  const char* version, int size) {
  if (const auto failure = std::exchange(nextInit, std::nullopt)) return failure->in(stream);
  static auto* const actual = original<decltype(deflateInit2_)>("deflateInit2_");
  return actual(stream, level, method, windowBits, memLevel, strategy, version, size);
}

int deflate(z_streamp stream, int flush) {
  if (const auto failure = std::exchange(nextStep, std::nullopt)) return failure->in(stream);
  static auto* const actual = original<decltype(deflate)>("deflate");
  return actual(stream, flush);
}
