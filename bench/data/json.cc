#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "vantrel/data/Json.h"

namespace {

/// A list of records as services give them, of about `size` bytes.
std::string document(std::size_t size) {
  std::mt19937 random(1);
  std::string text = "[";
  for (unsigned i = 0; text.size() < size; ++i) {
    if (i != 0) text += ",";
    text +=
        "{\"id\":" + std::to_string(100000 + i) + ",\"title\":\"Song number " +
        std::to_string(random() % 1000) +
        " \\u2013 live\",\"artist\":\"Caf\xc3\xa9 Orchestra\",\"seconds\":" +
        std::to_string(random() % 100000 / 7.0) + ",\"gain\":" + std::to_string(-0.001 * (random() % 10000)) +
        ",\"tags\":[\"jazz\",\"quiet\",\"evening listening\"],\"rating\":" + std::to_string(random() % 6) +
        ",\"favourite\":" + (i % 3 == 0 ? "true" : "false") + ",\"source\":{\"path\":\"/music/collection/" +
        std::to_string(i) + ".flac\",\"bytes\":" + std::to_string(random()) + "}}";
  }
  return text + "]";
}

void parseVantrel(benchmark::State& state, const std::string& text) {
  for (auto _ : state) benchmark::DoNotOptimize(vantrel::json::parse(text));
}

void parseRapidJson(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    rapidjson::Document parsed;
    parsed.Parse(text.data(), text.size());
    benchmark::DoNotOptimize(parsed.IsArray());
  }
}

void parseNlohmann(benchmark::State& state, const std::string& text) {
  for (auto _ : state) benchmark::DoNotOptimize(nlohmann::json::parse(text, nullptr, false));
}

void writeVantrel(benchmark::State& state, const std::string& text) {
  const auto value = vantrel::json::parse(text);
  for (auto _ : state) benchmark::DoNotOptimize(vantrel::json::writePretty(*value));
}

void writeRapidJson(benchmark::State& state, const std::string& text) {
  rapidjson::Document parsed;
  parsed.Parse(text.data(), text.size());
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    parsed.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetSize());
  }
}

const bool registered = [] {
  using Run = void (*)(benchmark::State&, const std::string&);
  const std::pair<const char*, Run> runs[] = {{"BM_JsonParse/vantrel/", parseVantrel},
                                              {"BM_JsonParse/rapidjson/", parseRapidJson},
                                              {"BM_JsonParse/nlohmann/", parseNlohmann},
                                              {"BM_JsonWritePretty/vantrel/", writeVantrel},
                                              {"BM_JsonWritePretty/rapidjson/", writeRapidJson}};
  for (const std::size_t size : {std::size_t{1} << 10, std::size_t{1} << 20}) {
    const std::string text = document(size);
    for (const auto& [name, run] : runs) {
      benchmark::RegisterBenchmark(
          (name + std::to_string(size)).c_str(), [run = run, text](benchmark::State& state) {
            run(state, text);
            state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
          });
    }
  }
  return true;
}();

}  // namespace
