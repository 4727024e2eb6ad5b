// CRC-32C over 256 KiB that stay in the cache, and over 64 MiB that do not: our variants beside ISA-L's and beside plain reading.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <numeric>
#include <vector>

#include "qorix/crc32c.h"

#if __has_include(<isa-l.h>)
#include <isa-l.h>
#define QX_HAVE_ISAL
#endif

namespace qx {
namespace {

const std::vector<uint8_t>& Data() {
  static const std::vector<uint8_t> data = [] {
    std::vector<uint8_t> bytes(size_t(64) << 20);
    std::iota(bytes.begin(), bytes.end(), uint8_t(0));
    return bytes;
  }();
  return data;
}

template <typename Run>
void Measure(benchmark::State& state, Run&& run) {
  const size_t length = size_t(state.range(0));
  const uint8_t* data = Data().data();
  for (auto _ : state) {
    uint64_t result = run(data, length);
    benchmark::DoNotOptimize(result);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(length));
}

/// The sum of all 64-bit words: what reading alone costs.
[[gnu::target_clones("default,avx2,avx512f")]] uint64_t SumWords(const uint8_t* data, size_t length) {
  uint64_t sum = 0;
  for (size_t i = 0; i + 8 <= length; i += 8) {
    uint64_t word;
    __builtin_memcpy(&word, data + i, 8);
    sum += word;
  }
  return sum;
}

void RegisterAll() {
  const auto sizes = [](auto* benchmark) { benchmark->Arg(700)->Arg(256 << 10)->Arg(64 << 20); };
  for (const CrcVariant& variant : crc32c_variants()) {
    if (!variant.usable) continue;
    const auto run = [update = variant.update](const uint8_t* data, size_t length) { return update(0, data, length); };
    sizes(benchmark::RegisterBenchmark(variant.name, [run](benchmark::State& state) { Measure(state, run); }));
  }
#if defined(QX_HAVE_ISAL)
  const auto isal = [](const uint8_t* data, size_t length) { return crc32_iscsi(const_cast<uint8_t*>(data), int(length), 0xFFFFFFFF); };
  sizes(benchmark::RegisterBenchmark("isa-l", [isal](benchmark::State& state) { Measure(state, isal); }));
#endif
  sizes(benchmark::RegisterBenchmark("reading", [](benchmark::State& state) { Measure(state, SumWords); }));
}

}  // namespace
}  // namespace qx

int main(int argc, char** argv) {
  qx::RegisterAll();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
