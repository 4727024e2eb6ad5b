// Listing an archive of 20,000 members: as a benchmark, and as a whole command to be timed beside other programs that list archives.
//   zip_bench make FILE    writes such an archive
//   zip_bench list FILE    opens it and prints the members' names
//   zip_bench              Google Benchmark: the same within one process, without the printing
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/file.h"
#include "rawzip/zip_reader.h"
#include "samples/zip_writer.h"

namespace {

using namespace qx;

constexpr int kMembers = 20000;

/// Small stored members: opening reads the directory alone.
bool MakeZip(const std::filesystem::path& path) {
  std::ofstream stream(path, std::ios::binary);
  ZipWriter writer(ZipSinkTo(&stream));
  const uint8_t content[64] = {};
  for (int i = 0; i < kMembers; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "frame_%06d.dng", i);
    if (!writer.Add(name, content)) return false;
  }
  return writer.Finish() && stream.flush().good();
}

/// Opens the archive and sets `names` to its members' names, one a line.
bool ReadNames(const File& file, std::string* names, Message message) {
  ZipArchive archive;
  if (zip_open(&archive, file, message) != 0) return false;
  names->clear();
  for (const ZipEntry& entry : archive.entries) names->append(entry.name).append("\n");
  return true;
}

int ListZip(const char* path) {
  File file;
  std::string names;
  MessageBuffer<256> message;
  if (!file.Open(path) || !ReadNames(file, &names, message)) {
    std::fprintf(stderr, "zip_bench: %s: %s\n", path, file.isOpen() ? message.text() : "cannot be opened");
    return 2;
  }
  return std::fwrite(names.data(), 1, names.size(), stdout) == names.size() ? 0 : 3;
}

void OpenAndList(benchmark::State& state) {
  const std::filesystem::path path = std::filesystem::temp_directory_path() / ("zip_bench." + std::to_string(getpid()));
  const bool made = MakeZip(path);
  std::string names;
  for (auto _ : state) {
    File file;
    if (!made || !file.Open(path) || !ReadNames(file, &names, {})) {
      state.SkipWithError("not opened");
      break;
    }
    benchmark::DoNotOptimize(names.data());
  }
  std::filesystem::remove(path);
  state.SetItemsProcessed(state.iterations() * kMembers);
}
BENCHMARK(OpenAndList)->Name("open_and_list/members:20000")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc == 3 ? argv[1] : "";
  if (command == "make") return MakeZip(argv[2]) ? 0 : 3;
  if (command == "list") return ListZip(argv[2]);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
}
