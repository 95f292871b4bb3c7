// The 14-digit time text beside what a user would pick instead, in a zone with daylight saving. "now" steps
// by a second, as a program does that shows the time; "decade" jumps at random within ten years.
#include <benchmark/benchmark.h>
#include <unicode/smpdtfmt.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "vantrel/loop/Clock.h"
#include "vantrel/system/KWTime.h"

namespace {

using vantrel::Date;
using vantrel::KWTime;

constexpr std::size_t kMoments = 4096;  // a power of two
constexpr std::time_t kStart = 1'709'640'000;

const int zoneIsSet = [] {
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
  return 0;
}();

std::vector<std::time_t> momentsFor(bool decade) {
  std::mt19937_64 random(7);
  std::vector<std::time_t> moments(kMoments);
  for (std::size_t i = 0; i < kMoments; ++i) {
    moments[i] = kStart + static_cast<std::time_t>(decade ? random() % 315'000'000 : i);
  }
  return moments;
}

std::string strftimeText(std::time_t moment) {
  std::tm fields;
  localtime_r(&moment, &fields);
  char text[16];
  return std::string(text, std::strftime(text, sizeof text, "%Y%m%d%H%M%S", &fields));
}

std::vector<std::string> textsFor(bool decade) {
  std::vector<std::string> texts;
  for (const std::time_t moment : momentsFor(decade)) texts.push_back(strftimeText(moment));
  return texts;
}

class SetClock : public vantrel::Clock {
 public:
  vantrel::Instant now() const override { return {}; }
  Date date() const override { return date_; }
  void set(std::time_t moment) { date_ = Date{static_cast<double>(moment)}; }

 private:
  Date date_;
};

icu::SimpleDateFormat& keptFormatter() {
  static UErrorCode status = U_ZERO_ERROR;
  static icu::SimpleDateFormat formatter("yyyyMMddHHmmss", icu::Locale("en_US_POSIX"), status);
  return formatter;
}

void formatByUs(benchmark::State& state, bool decade) {
  const auto moments = momentsFor(decade);
  SetClock clock;
  const vantrel::ScopedClock scope(clock);
  std::size_t i = 0;
  for (auto _ : state) {
    clock.set(moments[i++ % kMoments]);
    benchmark::DoNotOptimize(KWTime::dateString());
  }
}

void formatByGlibc(benchmark::State& state, bool decade) {
  const auto moments = momentsFor(decade);
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(strftimeText(moments[i++ % kMoments]));
}

void formatByIcu(benchmark::State& state, bool decade) {
  const auto moments = momentsFor(decade);
  std::size_t i = 0;
  for (auto _ : state) {
    icu::UnicodeString text;
    keptFormatter().format(static_cast<UDate>(moments[i++ % kMoments]) * 1000, text);
    benchmark::DoNotOptimize(text);
  }
}

// A difference reads two texts; so do the peers.
void parseByUs(benchmark::State& state, bool decade) {
  const auto texts = textsFor(decade);
  std::size_t i = 0;
  for (auto _ : state) {
    const auto& a = texts[i++ % kMoments];
    const auto& b = texts[i % kMoments];
    benchmark::DoNotOptimize(KWTime::differenceOfDateA_AndDateB(a, b));
  }
}

std::time_t readByGlibc(const std::string& text) {
  std::tm fields{};
  strptime(text.c_str(), "%Y%m%d%H%M%S", &fields);
  fields.tm_isdst = -1;
  return std::mktime(&fields);
}

void parseByGlibc(benchmark::State& state, bool decade) {
  const auto texts = textsFor(decade);
  std::size_t i = 0;
  for (auto _ : state) {
    const std::time_t a = readByGlibc(texts[i++ % kMoments]);
    benchmark::DoNotOptimize(std::difftime(a, readByGlibc(texts[i % kMoments])));
  }
}

void parseByIcu(benchmark::State& state, bool decade) {
  std::vector<icu::UnicodeString> texts;
  for (const auto& text : textsFor(decade)) texts.push_back(icu::UnicodeString::fromUTF8(text));
  UErrorCode status = U_ZERO_ERROR;
  std::size_t i = 0;
  for (auto _ : state) {
    const UDate a = keptFormatter().parse(texts[i++ % kMoments], status);
    benchmark::DoNotOptimize(a - keptFormatter().parse(texts[i % kMoments], status));
  }
}

BENCHMARK_CAPTURE(formatByUs, now, false)->Name("BM_TimeFormat/vantrel/now");
BENCHMARK_CAPTURE(formatByGlibc, now, false)->Name("BM_TimeFormat/glibc/now");
BENCHMARK_CAPTURE(formatByIcu, now, false)->Name("BM_TimeFormat/icu/now");
BENCHMARK_CAPTURE(formatByUs, decade, true)->Name("BM_TimeFormat/vantrel/decade");
BENCHMARK_CAPTURE(formatByGlibc, decade, true)->Name("BM_TimeFormat/glibc/decade");
BENCHMARK_CAPTURE(formatByIcu, decade, true)->Name("BM_TimeFormat/icu/decade");
BENCHMARK_CAPTURE(parseByUs, now, false)->Name("BM_TimeParseTwo/vantrel/now");
BENCHMARK_CAPTURE(parseByGlibc, now, false)->Name("BM_TimeParseTwo/glibc/now");
BENCHMARK_CAPTURE(parseByIcu, now, false)->Name("BM_TimeParseTwo/icu/now");
BENCHMARK_CAPTURE(parseByUs, decade, true)->Name("BM_TimeParseTwo/vantrel/decade");
BENCHMARK_CAPTURE(parseByGlibc, decade, true)->Name("BM_TimeParseTwo/glibc/decade");
BENCHMARK_CAPTURE(parseByIcu, decade, true)->Name("BM_TimeParseTwo/icu/decade");

}  // namespace
