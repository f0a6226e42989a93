// Runs of the program on a built scan: every report file, the list log, the error text and the
// status of a run compared whole, and what holds after any run checked with them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support.h"
#include "tools/dtlbuild.h"

namespace tabulon {

// Midnight (or another hour) of a day of March 2024, UTC. Days 4 to 8 are a week's working days;
// daylight-saving time begins in New York on the 10th.
constexpr uint32_t March(uint32_t day, uint32_t hour = 0) {
  constexpr uint32_t kFirst = 1709251200;
  return kFirst + (day - 1) * 86400 + hour * 3600;
}

// A run in a fresh directory that holds the scan ("scan.dtl"), the configuration ("run.cfg"), the
// report directory ("reports") and the directory for temporary files ("temp").
struct ConfiguredRun {
  ScanSpec scan;
  std::string config;  // empty: the options say what to do
  std::vector<std::string> options = {};
  std::string zone = "UTC";
  std::string locale = "C.UTF-8";
};

struct RunOutcome {
  int status = 0;
  std::string out;
  std::string err;  // behind the line with the time of the run
  std::map<std::string, std::string> reports;
  std::vector<std::string> temp;    // what was left among the temporary files
  std::vector<std::string> beside;  // what else is new in the directory
};

// The error text behind the line with the time of the run.
inline std::string WithoutScanTime(const std::string& err) {
  const size_t end = err.find('\n');
  EXPECT_EQ(err.substr(0, 11), "Scan time: ");
  return end == std::string::npos ? err : err.substr(end + 1);
}

inline RunOutcome RunOnScan(const ConfiguredRun& run) {
  const TempDir dir;
  const std::string scan = BuildDtl(run.scan);
  WriteFile(dir / "scan.dtl", scan);
  WriteFile(dir / "run.cfg", run.config);
  std::filesystem::create_directory(dir / "temp");
  std::vector<std::string> args = {"-dtl", "scan.dtl", "-tempdir", "temp"};
  if (!run.config.empty()) args.insert(args.end(), {"-cfg", "run.cfg", "-rdir", "reports"});
  args.insert(args.end(), run.options.begin(), run.options.end());
  const RunResult result =
      RunTabulon(args, {.env = {{"TZ", run.zone}, {"LC_ALL", run.locale}}, .cwd = dir.path()});

  RunOutcome outcome;
  outcome.status = result.status;
  outcome.out = result.out;
  outcome.err = WithoutScanTime(result.err);
  const auto entries = [&](const char* name, auto&& take) {
    if (!std::filesystem::exists(dir / name)) return;
    for (const auto& entry : std::filesystem::directory_iterator(dir / name)) take(entry.path());
  };
  entries("reports", [&](const std::filesystem::path& path) {
    outcome.reports[path.filename()] = ReadFile(path);
  });
  entries("temp",
          [&](const std::filesystem::path& path) { outcome.temp.push_back(path.filename()); });
  for (const std::string& name : dir.Entries()) {
    if (name != "scan.dtl" && name != "run.cfg" && name != "temp" && name != "reports") {
      outcome.beside.push_back(name);
    }
  }
  EXPECT_EQ(ReadFile(dir / "scan.dtl"), scan) << "a run changed its scan";
  return outcome;
}

// A report file that a run has to write.
struct WrittenReport {
  std::string file;
  std::string title;
  std::string text;
  int announced = 1;  // the text form of the summary is announced twice
};

// The run has to write these files and no other, tell of them in this order, say nothing else, and
// leave nothing behind.
inline void ExpectReports(const ConfiguredRun& run, const std::vector<WrittenReport>& reports) {
  const RunOutcome outcome = RunOnScan(run);
  std::string out = "ProcessConfigFile DONE\n";
  std::string err;
  std::map<std::string, std::string> texts;
  for (const WrittenReport& report : reports) {
    for (int i = 0; i < report.announced; ++i) {
      out += "Report '" + report.title + "' written to reports/" + report.file + "\n";
      err += "Path = reports/" + report.file + "\n";
    }
    texts[report.file] = report.text;
  }
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, out);
  EXPECT_EQ(outcome.err, err);
  EXPECT_THAT(outcome.temp, testing::IsEmpty());
  EXPECT_THAT(outcome.beside, testing::IsEmpty());
  for (const auto& [file, text] : texts) {
    SCOPED_TRACE(file);
    const auto found = outcome.reports.find(file);
    EXPECT_EQ(found == outcome.reports.end() ? "no such file" : found->second, text);
  }
  EXPECT_EQ(outcome.reports.size(), texts.size());
}

// A line of the totals report in CSV form, from the records themselves. Listings take no directory
// records; `unit` is the allocation unit, 0 = none.
inline std::string TotalsLine(const ScanSpec& scan, const std::string& title,
                              const std::function<bool(const RecordSpec&)>& selects,
                              uint64_t unit = 0, bool directories = false) {
  uint64_t count = 0, bytes = 0, allocated = 0;
  for (const RecordSpec& record : scan.records) {
    if (((record.flags & kRecordDirectory) != 0) != directories || !selects(record)) continue;
    ++count;
    bytes += record.size;
    if (unit > 0) allocated += (record.size + unit - 1) / unit * unit;
  }
  std::string line = title + "," + std::to_string(count) + "," + std::to_string(bytes);
  if (unit > 0) line += "," + std::to_string(allocated);
  return line + "\n";
}

// A text as unicode report files hold it: a byte-order mark, UTF-16, lines ended by CR LF.
inline std::string AsUnicodeFile(const std::string& text) {
  std::string lines;
  for (const char c : text) lines += c == '\n' ? std::string("\r\n") : std::string(1, c);
  return "\xFF\xFE" + Utf16Bytes(lines);
}

}  // namespace tabulon
