#include <fmt/core.h>

#include <filesystem>
#include <fstream>

#include "commands.h"
#include "log_report.h"

namespace tool {

int RunLogReport(const LogReportOptions& options) {
  std::ifstream log(options.log, std::ios::binary);
  if (!log) {
    fmt::print(stderr, "qorix-host: {} cannot be read\n", options.log);
    return kUsage;
  }
  const LogReport report = ReadLog(log);
  if (report.lines > 0 && report.foreignLines == report.lines) {
    fmt::print(stderr, "qorix-host: {} is not a diagnostic log (QORIX_IMPORT_LOG): none of its {} lines is one of the plug-in's\n",
               options.log, report.lines);
    return kUsage;
  }
  const std::string page = ReportPage(report, std::filesystem::path(options.log).filename().string());
  std::ofstream out(options.output, std::ios::binary | std::ios::trunc);
  out << page;
  out.close();
  if (!out) {
    fmt::print(stderr, "qorix-host: {} cannot be written\n", options.output);
    return kWriteFailed;
  }
  fmt::print("{}: {} deliveries in {} runs, {} clips, {} different messages\n", options.output, report.frames.size(), report.runs.size(),
             report.clips.size(), report.messages.size());
  return kOk;
}

}  // namespace tool
