// Conditional means of decoding tables: 4,096 codes for 14- and 16-bit values, and a 16-bit table with a bin for each value. Milliseconds a
// table, without a pool (the calling thread alone) and with one more thread.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "qorix/decoding_table.h"

namespace {

struct Case {
  const char* name;
  qx::TableParameters parameters;
};

// Steps of half a standard deviation. The noise of the last is so low that each value has a bin of its own.
const Case kCases[] = {
    {"4096 codes, 14 bits", {.p72 = 64, .p76 = 0.0156f, .p80 = 4, .p84 = 0.5f, .p90 = 16383}},
    {"4096 codes, 16 bits", {.p72 = 256, .p76 = 0.0622f, .p80 = 16, .p84 = 0.5f, .p90 = 65535}},
    {"one code a value, 16 bits", {.p72 = 256, .p76 = 1e-6f, .p80 = 0.01f, .p84 = 0.5f, .p90 = 65535}},
};

void Means(benchmark::State& state, const Case& table, int threads) {
  std::vector<uint32_t> binStarts;
  int32_t bits = 0;
  if (!qx::ComputeBinStarts(table.parameters, &binStarts, &bits, {})) return state.SkipWithError("no bins");
  const qx::WorkerPoolPtr pool = threads > 1 ? qx::worker_pool_create(threads - 1) : nullptr;
  std::vector<double> means;
  for (auto _ : state) {
    if (!qx::ComputeConditionalMeans(table.parameters, binStarts, table.parameters.p90, pool.get(), &means)) {
      return state.SkipWithError("not computed");
    }
    benchmark::DoNotOptimize(means.data());
  }
  state.counters["codes"] = double(binStarts.size());
}

}  // namespace

int main(int argc, char** argv) {
  for (const Case& table : kCases) {
    for (const int threads : {1, 2}) {
      const std::string name = std::string(table.name) + "/threads:" + std::to_string(threads);
      benchmark::RegisterBenchmark(name.c_str(), Means, table, threads)->Unit(benchmark::kMillisecond)->UseRealTime();
    }
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
