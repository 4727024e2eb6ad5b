// Conditional means of decoding tables: 4,096 codes for 14- and 16-bit values, and a 16-bit table with a bin for each value. Milliseconds a
// table, without a pool (the calling thread alone) and with one more thread. Then the inner loop alone, 48 bins at a time, per variant.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "qorix/decoding_table.h"
#include "qorix/mean_kernels.h"

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
  if (!qx::ComputeBinStarts(table.parameters, &binStarts, {})) return state.SkipWithError("no bins");
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

void Kernel(benchmark::State& state, qx::MeanKernel add) {
  constexpr size_t kBins = 48;
  std::vector<double> edges(kBins), cdf(kBins + 1), numerators(kBins), denominators(kBins);
  for (size_t i = 0; i < kBins; ++i) edges[i] = double(i) - 24;
  for (auto _ : state) {
    add(edges.data(), kBins, {0.05, 0.25, 0.1}, cdf.data(), numerators.data(), denominators.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * int64_t(kBins));
}

}  // namespace

int main(int argc, char** argv) {
  for (const Case& table : kCases) {
    for (const int threads : {1, 2}) {
      const std::string name = std::string(table.name) + "/threads:" + std::to_string(threads);
      benchmark::RegisterBenchmark(name.c_str(), Means, table, threads)->Unit(benchmark::kMillisecond)->UseRealTime();
    }
  }
  for (const qx::MeanKernelVariant& variant : qx::mean_kernel_variants()) {
    if (variant.usable) benchmark::RegisterBenchmark((std::string("bins/") + variant.name).c_str(), Kernel, variant.add);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
