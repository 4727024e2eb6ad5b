#include "pipeline/pipeline_config.h"

#include <gtest/gtest.h>

#include <map>

namespace qx {
namespace {

using Variables = std::map<std::string, std::string>;

PipelineConfig Configure(int processors, const Variables& variables) {
  return MakePipelineConfig(processors, [&](const char* name, size_t) -> std::optional<std::string> {
    const auto found = variables.find(name);
    return found == variables.end() ? std::nullopt : std::optional(found->second);
  });
}

TEST(PipelineConfig, FollowsTheNumberOfProcessors) {
  struct Row {
    int processors, viewReaders, exportReaders, copyThreads, exportCopyThreads, developThreads;
  };
  for (const Row& row : {Row{1, 1, 1, 1, 1, 0}, Row{2, 1, 1, 1, 1, 1}, Row{3, 2, 2, 1, 1, 2}, Row{4, 2, 2, 1, 2, 3}, Row{5, 3, 3, 3, 3, 4},
                         Row{16, 3, 8, 3, 8, 15}, Row{64, 3, 8, 3, 32, 15}}) {
    SCOPED_TRACE(row.processors);
    const PipelineConfig config = Configure(row.processors, {});
    EXPECT_EQ(config.viewReaders, row.viewReaders);
    EXPECT_EQ(config.exportReaders, row.exportReaders);
    EXPECT_EQ(config.copyThreads, row.copyThreads);
    EXPECT_EQ(config.exportCopyThreads, row.exportCopyThreads);
    EXPECT_EQ(config.developThreads, row.developThreads);
    EXPECT_EQ(config.prefetch, 6);
    EXPECT_EQ(config.inFlight, 3);
    EXPECT_EQ(config.clipCacheBytes, 838860800u);
  }
}

TEST(PipelineConfig, TuneSetsReadersPrefetchAndFramesInFlight) {
  struct Row {
    const char* tune;
    int readers, prefetch, inFlight;
    const char* why;
  };
  for (const Row& row : {Row{"0,10,20", 3, 10, 8, "readers out of range, in flight limited"}, Row{"12", 3, 6, 3, "readers out of range"},
                         Row{"8,1,1", 8, 1, 1, "all in range"}, Row{"2", 2, 6, 3, "readers alone"}, Row{"2,x,5", 2, 6, 3, "stops at the x"},
                         Row{"2,0,-1", 2, 6, 3, "not above 0"}, Row{"", 3, 6, 3, "empty"},
                         Row{" 4, 99999999999,2", 4, INT32_MAX, 2, "blanks before numbers, more than 32 bits"}}) {
    SCOPED_TRACE(row.why);
    const PipelineConfig config = Configure(8, {{"QORIX_IMPORT_TUNE", row.tune}});
    EXPECT_EQ(config.viewReaders, row.readers);
    EXPECT_EQ(config.prefetch, row.prefetch);
    EXPECT_EQ(config.inFlight, row.inFlight);
  }
}

TEST(PipelineConfig, ExportReadersStayBetweenViewReadersAndEight) {
  struct Row {
    int processors;
    const char* wanted;
    int expected;
  };
  for (const Row& row : {Row{6, "1", 3}, Row{6, "5", 5}, Row{6, "100", 8}, Row{12, "0", 6}, Row{12, "-3", 6}}) {
    EXPECT_EQ(Configure(row.processors, {{"QORIX_IMPORT_XREADERS", row.wanted}}).exportReaders, row.expected) << row.wanted;
  }
}

TEST(PipelineConfig, CacheAndCopyThreadsCanBeSet) {
  EXPECT_EQ(Configure(8, {{"QORIX_IMPORT_CLIPMB", "100"}}).clipCacheBytes, 104857600u);
  EXPECT_EQ(Configure(8, {{"QORIX_IMPORT_CLIPMB", "2147483647"}}).clipCacheBytes, 2147483647u * uint64_t(1048576));
  EXPECT_EQ(Configure(8, {{"QORIX_IMPORT_CLIPMB", "0"}}).clipCacheBytes, 838860800u);
  const PipelineConfig config = Configure(8, {{"QORIX_IMPORT_COPYTH", "7"}});
  EXPECT_EQ(config.copyThreads, 7);
  EXPECT_EQ(config.exportCopyThreads, 7) << "never fewer than the view pool";
  EXPECT_EQ(Configure(8, {{"QORIX_IMPORT_COPYTH", "0"}}).copyThreads, 3);
}

}  // namespace
}  // namespace qx
