// Rewriting a configuration at a VPN start, compared with the cost of parsing the same text.
//
// Each round of the pipeline consumes its own copy of the text, as a start does; making the copy is not measured. The
// parsers read the same text and, if they can, write it again, without edits in between.
#include <benchmark/benchmark.h>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>
#include <string>
#include <utility>
#include <vector>

#include "bench/config_texts.h"
#include "bench/start_pipeline.h"
#include "config/vpn_config.h"

namespace moorlak::bench {
namespace {

// Processor time of this thread: less affected by other programs on the machine.
double Seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Times the call. Its result lives until the clock has stopped.
template <typename Call>
void Time(benchmark::State& state, Call call) {
  const double begin = Seconds();
  const auto result = call();
  const double end = Seconds();
  benchmark::DoNotOptimize(&result);
  state.SetIterationTime(end - begin);
}

// With the spare capacity that a start gives the text.
std::string OwnText(const std::string& text) {
  std::string own;
  own.reserve(text.size() + kRoomForEdits);
  own = text;
  return own;
}

void RunPipeline(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    std::string consumed = OwnText(text);
    Time(state, [&consumed] { return RunStartPipeline(std::move(consumed)); });
  }
}

void RunRapidJson(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    Time(state, [&text] {
      rapidjson::Document document;
      document.Parse(text.data(), text.size());
      rapidjson::StringBuffer buffer;
      rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
      document.Accept(writer);
      return buffer.GetSize();
    });
  }
}

void RunNlohmann(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    Time(state, [&text] { return nlohmann::json::parse(text).dump(); });
  }
}

void RunSimdjson(benchmark::State& state, const std::string& text) {
  const simdjson::padded_string padded(text);
  for (auto _ : state) {
    Time(state, [&padded] {
      simdjson::dom::parser parser;
      return parser.parse(padded).error();
    });
  }
}

void RunCopy(benchmark::State& state, const std::string& text) {
  std::vector<char> target(text.size());
  for (auto _ : state) {
    Time(state, [&] { return std::memcpy(target.data(), text.data(), text.size()); });
    benchmark::ClobberMemory();
  }
}

using Body = void (*)(benchmark::State& state, const std::string& text);

void Register(const std::string& name, Body body, const std::string& text) {
  auto* registered = benchmark::RegisterBenchmark(name.c_str(), [body, text](benchmark::State& state) {
    body(state, text);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
  });
  registered->Unit(benchmark::kMicrosecond)->UseManualTime();
}

struct Size {
  const char* name;
  size_t bytes;
};
constexpr Size kSizes[] = {{"20KB", 20 * kKiB}, {"1MiB", kMiB}, {"8MiB", 8 * kMiB}, {"16MiB", 16 * kMiB}};

void RegisterAll() {
  for (const Size& size : kSizes) {
    const std::string name = std::string("/") + size.name;
    const std::string text = RealisticConfig(size.bytes, MetaPlace::First);
    Register("pipeline" + name, RunPipeline, text);
    Register("pipeline, metadata last" + name, RunPipeline, RealisticConfig(size.bytes, MetaPlace::Last));
    Register("RapidJSON parse+write" + name, RunRapidJson, text);
    Register("nlohmann::json parse+dump" + name, RunNlohmann, text);
    Register("simdjson parse" + name, RunSimdjson, text);
    Register("memcpy" + name, RunCopy, text);
  }
  for (const HostileText& hostile : HostileTexts(16 * kMiB)) {
    Register(std::string("hostile: ") + hostile.name + "/16MiB", RunPipeline, hostile.text);
  }
}

}  // namespace
}  // namespace moorlak::bench

int main(int argumentCount, char** arguments) {
  benchmark::Initialize(&argumentCount, arguments);
  if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) return 2;
  moorlak::bench::RegisterAll();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
