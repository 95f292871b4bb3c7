// The integer sorts beside what a user would pick instead. Short arrays are sorted many at a time, so that
// the clock and the copying in between do not count.
#include "vantrel/system/sort.h"

#include <benchmark/benchmark.h>
#include <hwy/contrib/sort/vqsort.h>

#include <algorithm>
#include <boost/sort/pdqsort/pdqsort.hpp>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "vantrel/system/KWSort.h"

namespace {

using Sort = void (*)(int*, std::size_t);
enum Shape { kRandom, kSorted, kReversed, kSwapped, kEqual };

std::vector<int> arraysOf(Shape shape, std::size_t size) {
  std::mt19937 random(7);
  std::vector<int> numbers(size * std::max<std::size_t>(1, 65'536 / size));
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const int at = static_cast<int>(i % size);
    numbers[i] = shape == kRandom     ? static_cast<int>(random())
                 : shape == kSorted   ? at
                 : shape == kSwapped  ? at
                 : shape == kReversed ? -at
                                      : 42;
  }
  if (shape == kSwapped)
    for (int i = 0; i < 1000; ++i)
      std::swap(numbers[random() % numbers.size()], numbers[random() % numbers.size()]);
  return numbers;
}

void sortAll(benchmark::State& state, Sort sort, Shape shape, std::size_t size) {
  const auto source = arraysOf(shape, size);
  auto numbers = source;
  for (auto _ : state) {
    state.PauseTiming();
    std::copy(source.begin(), source.end(), numbers.begin());
    state.ResumeTiming();
    for (std::size_t at = 0; at < numbers.size(); at += size) sort(numbers.data() + at, size);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(numbers.size()) * state.iterations());
}

void shuffle(benchmark::State& state) {
  std::vector<std::int64_t> list(static_cast<std::size_t>(state.range(0)));
  std::iota(list.begin(), list.end(), 0);
  for (auto _ : state) benchmark::DoNotOptimize(vantrel::KWSort::arrayRandom(list));
}

void stdShuffle(benchmark::State& state) {
  std::vector<std::int64_t> list(static_cast<std::size_t>(state.range(0)));
  std::iota(list.begin(), list.end(), 0);
  std::random_device random;
  for (auto _ : state) {
    auto result = list;
    std::shuffle(result.begin(), result.end(), random);
    benchmark::DoNotOptimize(result);
  }
}

BENCHMARK(shuffle)->Name("BM_Shuffle/vantrel")->Arg(10)->Arg(1000);
BENCHMARK(stdShuffle)->Name("BM_Shuffle/std")->Arg(10)->Arg(1000);

const int registered = [] {
  const std::pair<const char*, Sort> kSorts[] = {
      {"vantrel",
       [](int* numbers, std::size_t size) { AscendingSort(numbers, 0, static_cast<int>(size) - 1); }},
      {"vqsort",
       [](int* numbers, std::size_t size) {
         static const hwy::Sorter sorter;
         sorter(numbers, size, hwy::SortAscending());
       }},
      {"std", [](int* numbers, std::size_t size) { std::sort(numbers, numbers + size); }},
      {"pdqsort", [](int* numbers, std::size_t size) { boost::sort::pdqsort(numbers, numbers + size); }},
  };
  const std::pair<const char*, Shape> kShapes[] = {{"Random", kRandom},
                                                   {"Sorted", kSorted},
                                                   {"Reversed", kReversed},
                                                   {"Swapped", kSwapped},
                                                   {"Equal", kEqual}};
  for (const auto& [shapeName, shape] : kShapes) {
    for (const std::size_t size : {16, 64, 256, 1000, 1'000'000}) {
      if (size < 1000 && shape != kRandom) continue;
      if (size < 1'000'000 && shape == kSwapped) continue;
      for (const auto& [name, sort] : kSorts) {
        const std::string title =
            std::string("BM_Sort") + shapeName + "/" + name + "/" + std::to_string(size);
        benchmark::RegisterBenchmark(title.c_str(), sortAll, sort, shape, size)
            ->Unit(benchmark::kMicrosecond)
            ->MinTime(0.1);
      }
    }
  }
  return 0;
}();

}  // namespace
